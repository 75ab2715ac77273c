#include "app/recording/archive/link_target.h"

#include <vector>

namespace app {

namespace {

/** Calls @p take for each part between slashes, also for an empty one. */
template <class Take> void forEachPart(std::string_view path, Take const& take)
{
    while (true) {
        size_t const end = path.find('/');
        take(path.substr(0, end));
        if (end == std::string_view::npos)
            return;
        path.remove_prefix(end + 1);
    }
}

bool isName(std::string_view part)
{
    return !part.empty() && part != "." && part != "..";
}

/** A path below the root, name by name. */
struct Place {
    std::vector<std::string_view> names;
    bool left = false; ///< a ".." was followed in the root

    void follow(std::string_view path)
    {
        forEachPart(path, [this](std::string_view part) {
            if (isName(part))
                names.push_back(part);
            else if (part == "..") {
                left = left || names.empty();
                if (!names.empty())
                    names.pop_back();
            }
        });
    }
};

Place placeOf(std::string_view path, std::string_view target)
{
    Place place;
    if (!target.starts_with('/'))
        place.follow(path.substr(0, path.rfind('/')));
    place.follow(target);
    return place;
}

}

bool hasOnlyNames(std::string_view path)
{
    bool only = true;
    forEachPart(path, [&only](std::string_view part) { only = only && isName(part); });
    return only;
}

bool isRecordedPath(std::string_view path)
{
    return path == "/"
        || (path.starts_with('/') && hasOnlyNames(path.substr(1))
            && path.find('\0') == std::string_view::npos);
}

bool leavesRoot(std::string_view path, std::string_view target)
{
    return !target.starts_with('/') && placeOf(path, target).left;
}

std::string targetInRoot(std::string_view path, std::string const& target)
{
    if (!leavesRoot(path, target))
        return target;
    std::string inside;
    for (std::string_view const name : placeOf(path, target).names)
        inside.append("/").append(name);
    return inside.empty() ? "/" : inside;
}

bool canBeUnpacked(std::string_view path, std::string_view target)
{
    if (target.empty() || target.starts_with('/') || leavesRoot(path, target))
        return false;
    bool name = false;
    bool plain = true;
    forEachPart(target, [&](std::string_view part) {
        plain = plain && !(name && part == "..");
        name = name || isName(part);
    });
    return plain;
}

}
