// A manifest or its recording is refused with a message, or the recording is the same after it was
// written and read.

#include "app/recording/archive/ArchiveError.h"
#include "app/recording/archive/manifest.h"
#include "app/recording/archive/member_names.h"
#include "app/recording/archive/recording_check.h"
#include "fuzz/expect.h"

#include <cstdint>
#include <utility>

namespace {

/** The members of the archive that the seeds were written for. */
std::string take(std::string const& member)
{
    if (member.ends_with(".err"))
        return "";
    return member.ends_with(".out") ? "output" : "content";
}

/** @return the content of a member in a written archive. */
std::string contentIn(app::Recording const& recording, std::string const& member)
{
    for (auto const& [folder, files] :
        {std::pair("root", &recording.files), std::pair("later", &recording.later)})
        for (size_t i = 0; i < files->size(); ++i)
            if (app::memberOf((*files)[i], folder, i) == member)
                return (*files)[i].content;
    for (size_t i = 0; i < recording.tools.size(); ++i) {
        if (app::outputMember(i) == member)
            return recording.tools[i].output;
        if (app::errorsMember(i) == member)
            return recording.tools[i].errors;
    }
    fuzz::expect(false);
    return {};
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const input(reinterpret_cast<char const*>(data), size);
    app::Recording recording;
    try {
        recording = app::recordingOf(input, take);
        recording.document = "{}";
        app::checkRecording(recording);
    } catch (app::ArchiveError const& error) {
        fuzz::expect(std::string(error.what()).find(": ") != std::string::npos);
        return 0;
    }
    std::string const written = app::manifestOf(recording);
    app::Recording const again = app::recordingOf(
        written, [&](std::string const& member) { return contentIn(recording, member); });
    fuzz::expect(app::manifestOf(again) == written);
    return 0;
}
