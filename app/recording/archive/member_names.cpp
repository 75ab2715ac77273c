#include "app/recording/archive/member_names.h"

#include "app/recording/archive/TarWriter.h"
#include "app/recording/archive/escaped_text.h"
#include "app/recording/archive/link_target.h"

namespace app {

namespace {

bool canBeNamed(std::string const& name)
{
    return isPlain(name) && TarWriter::hasRoomFor(name);
}

}

std::optional<std::string> memberOf(
    RecordedFile const& file, std::string const& folder, size_t index)
{
    bool const wasRead = file.kind == RecordedFile::REGULAR && file.opened
        && (file.error == 0 || !file.content.empty());
    if (!wasRead)
        return std::nullopt;
    std::string const name = folder + file.path;
    return canBeNamed(name) ? name : "numbered/" + folder + "/" + std::to_string(index);
}

std::optional<std::string> linkMemberOf(RecordedFile const& file)
{
    std::string const name = "root" + file.path;
    if (file.kind == RecordedFile::LINK && canBeNamed(name) && isPlain(file.content)
        && TarWriter::hasRoomForTarget(file.content) && canBeUnpacked(file.path, file.content))
        return name;
    return std::nullopt;
}

std::string outputMember(size_t tool)
{
    return "tools/" + std::to_string(tool) + ".out";
}

std::string errorsMember(size_t tool)
{
    return "tools/" + std::to_string(tool) + ".err";
}

}
