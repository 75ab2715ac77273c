#pragma once

#include "app/recording/Recording.h"

#include <cstddef>
#include <optional>
#include <string>

/** The names of the archive's members. */
namespace app {

constexpr char const* MANIFEST_MEMBER = "manifest.json";
constexpr char const* DOCUMENT_MEMBER = "document.json";
constexpr char const* README_MEMBER = "README.txt";

/** @return the name of the member with a file's content; nothing where nothing of it was read.
 * @param folder "root" or "later"
 * @param index in its list: names a file whose path does not fit the archive */
std::optional<std::string> memberOf(
    RecordedFile const& file, std::string const& folder, size_t index);

/** @return the name of the member that is a link as recorded; nothing where such a member would
 * lead elsewhere or does not fit. */
std::optional<std::string> linkMemberOf(RecordedFile const& file);

std::string outputMember(size_t tool);
std::string errorsMember(size_t tool);

}
