#pragma once

#include "app/recording/Recording.h"

#include <string>
#include <vector>

namespace app_recording_test {

/** A recording with many random values of each kind that a redaction replaces, each in all files
 * and outputs that hold the kind. */
struct RandomMachine {
    static constexpr size_t COUNT = 200;

    std::vector<std::string> serials;
    std::vector<std::string> uuids;
    std::vector<std::string> lvmIds; ///< 32 letters and digits
    std::vector<std::string> macs; ///< "02:00:5e:20:00:01"
    std::vector<std::string> ipv4;
    std::vector<std::string> ipv6;
    std::vector<std::string> hosts; ///< without a domain
    std::vector<std::string> users;
    std::vector<std::string> wwns; ///< 16 hexadecimal digits
    std::vector<std::string> labels;
    std::vector<std::string> folders; ///< of users
    std::vector<std::string> pools; ///< of zfs
    std::vector<std::string> containers; ///< 64 hexadecimal digits
    std::vector<std::string> notes; ///< free text of the firmware and of errors
    app::Recording recording;

    RandomMachine();
};

app::RecordedFile file(std::string const& path, std::string const& content);
app::RecordedFile link(std::string const& path, std::string const& target);
app::RecordedTool tool(std::vector<std::string> const& command, std::string const& output);

/** @return the content of a file, or its output of a tool whose first word it is. */
std::string contentOf(app::Recording const& recording, std::string const& path);
std::string outputOf(app::Recording const& recording, std::string const& tool);

/** @return the content of a file after the redaction of a recording that has only this file. */
std::string redactedText(std::string const& path, std::string const& content);

/** All texts of a recording in lower case, a line each at least. */
std::string allTexts(app::Recording const& recording);

/** The digits of bytes, and the bytes of an address's text. */
std::string hexText(std::string const& bytes);
std::string ipBytes(std::string const& text);
std::string lower(std::string text);
std::string upper(std::string text);
std::string without(std::string const& characters, std::string text);

/** The digits of the IPv6 address that a MAC address makes. */
std::string eui64(std::string const& mac);

/** The separators that LVM's tools write. */
std::string dashedLvm(std::string const& id);

}
