#pragma once

#include <string>
#include <string_view>

/** Paths of recorded files and targets of their links, as text. */
namespace app {

/** @return whether each name between slashes is one: not empty, "." or "..". */
bool hasOnlyNames(std::string_view path);

/** @return whether the path is absolute, has only names and no NUL; also "/". */
bool isRecordedPath(std::string_view path);

/** @return whether a relative target of the link at @p path has more ".." than there are folders to
 * leave. An absolute target is resolved inside the root. */
bool leavesRoot(std::string_view path, std::string_view target);

/**
 * @return the target; for one that leaves the root, the absolute path that it leads to.
 *
 * The kernel takes ".." in the root for the root, path_resolution(7), but a folder that the root is
 * copied to is no root.
 */
std::string targetInRoot(std::string_view path, std::string const& target);

/** @return whether the link leads inside its archive's folder "root" after it was unpacked there:
 * the target is relative, and each ".." is before the first name, so that no other link changes
 * its meaning. */
bool canBeUnpacked(std::string_view path, std::string_view target);

}
