#include "app/recording/archive/archive.h"

#include "app/recording/archive/TarReader.h"
#include "app/recording/archive/TarWriter.h"
#include "app/recording/archive/escaped_text.h"
#include "app/recording/archive/limits.h"
#include "app/recording/archive/link_target.h"
#include "app/recording/archive/manifest.h"
#include "app/recording/archive/member_names.h"
#include "app/recording/archive/recording_check.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <sys/stat.h>

namespace app {

namespace {

constexpr char const* README =
    "A recording of a machine, made by dovrel-sysinfo.\n"
    "\n"
    "It has the files, the output of tools and the answers of calls that the program and its\n"
    "library read. Show the machine from it, on any machine:\n"
    "\n"
    "    dovrel-sysinfo replay FILE.tar.gz all\n"
    "    dovrel-sysinfo replay FILE.tar.gz disks --json\n"
    "\n"
    "manifest.json   each file, link, tool and call, with sizes, errors and the queries that read "
    "it\n"
    "root/           the contents of the files, by path\n"
    "later/          files that were read a second time, as they were then\n"
    "numbered/       files whose path does not fit this format; \"member\" in manifest.json\n"
    "tools/          output (.out) and errors (.err) of each tool, by its index in manifest.json\n"
    "document.json   what the program reported on the recorded machine\n"
    "\n"
    "A file whose \"stored_size\" is less than its \"size\" is cut. \"%XX\" in manifest.json is a "
    "byte:\n"
    "a '%', a part of a control character or of text that is no UTF-8.\n"
    "To change a recording: unpack it, edit a file and its sizes in manifest.json, and pack it in\n"
    "its folder with\n"
    "\n"
    "    tar --format=ustar -czf FILE.tar.gz *\n";

/** Members by name, and the links among them. */
struct Members {
    std::map<std::string, std::string> contents;
    std::map<std::string, std::string> targets;

    std::string take(std::string const& name)
    {
        auto const found = contents.find(name);
        if (found == contents.end())
            refuse(name, "it is not in the archive");
        std::string content = std::move(found->second);
        contents.erase(found);
        return content;
    }
};

uint64_t mostBytesOf(std::string const& member)
{
    return member == MANIFEST_MEMBER ? MOST_MANIFEST
        : member == DOCUMENT_MEMBER  ? MOST_DOCUMENT
                                     : Recording::MOST_CONTENT;
}

Members readMembers(std::istream& archive)
{
    TarReader reader(archive);
    Members members;
    uint64_t bytes = 0;
    while (auto const member = reader.next()) {
        if (member->type == TAR_FOLDER)
            continue;
        if (members.contents.contains(member->name) || members.targets.contains(member->name))
            refuse(member->name, "it is there twice");
        if (member->type == TAR_LINK) {
            members.targets[member->name] = member->target;
            continue;
        }
        uint64_t const most = mostBytesOf(member->name);
        if (member->size > most)
            refuse(member->name, "it is larger than " + std::to_string(most) + " bytes");
        if (member->name != MANIFEST_MEMBER && (bytes += member->size) > MOST_BYTES)
            refuse(member->name,
                "with it, the contents are larger than " + std::to_string(MOST_BYTES) + " bytes");
        members.contents[member->name] = reader.contentOf(*member);
    }
    return members;
}

/** Each link of the archive is one of the manifest. */
void checkLinks(std::vector<RecordedFile> const& files, Members const& members)
{
    for (auto const& [name, target] : members.targets) {
        std::string const path = name.starts_with("root/") ? name.substr(4) : "";
        auto const file = std::lower_bound(files.begin(), files.end(), path,
            [](RecordedFile const& item, std::string const& wanted) { return item.path < wanted; });
        if (file == files.end() || file->path != path || file->kind != RecordedFile::LINK)
            refuse(name, "the manifest has no such link");
        if (file->content != target)
            refuse(name, "the manifest has another target of the link");
    }
}

std::string checkedArchiveOf(Recording const& recording)
{
    TarWriter tar(recording.time);
    tar.addFile(MANIFEST_MEMBER, manifestOf(recording));
    tar.addFile(README_MEMBER, README);
    tar.addFile(DOCUMENT_MEMBER, recording.document);
    for (size_t i = 0; i < recording.files.size(); ++i) {
        RecordedFile const& file = recording.files[i];
        if (auto const member = memberOf(file, "root", i))
            tar.addFile(*member, file.content);
        if (auto const member = linkMemberOf(file))
            tar.addLink(*member, file.content);
    }
    for (size_t i = 0; i < recording.later.size(); ++i)
        if (auto const member = memberOf(recording.later[i], "later", i))
            tar.addFile(*member, recording.later[i].content);
    for (size_t i = 0; i < recording.tools.size(); ++i) {
        tar.addFile(outputMember(i), recording.tools[i].output);
        tar.addFile(errorsMember(i), recording.tools[i].errors);
    }
    return tar.end();
}

/** Opens the file, not a FIFO, which would block. */
std::ifstream openedFile(std::string const& path)
{
    struct stat state { };
    if (stat(path.c_str(), &state) != 0)
        throw ArchiveError(std::strerror(errno));
    if (!S_ISREG(state.st_mode))
        throw ArchiveError("it is no regular file");
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw ArchiveError(std::strerror(errno));
    return file;
}

}

std::string archiveOf(Recording const& recording)
{
    checkRecording(recording);
    auto const leaves = [](RecordedFile const& file) {
        return file.kind == RecordedFile::LINK && leavesRoot(file.path, file.content);
    };
    auto const anyLeaves = [&leaves](std::vector<RecordedFile> const& files) {
        return std::any_of(files.begin(), files.end(), leaves);
    };
    if (!anyLeaves(recording.files) && !anyLeaves(recording.later))
        return checkedArchiveOf(recording);
    Recording inside = recording;
    for (auto* const files : {&inside.files, &inside.later})
        for (RecordedFile& file : *files)
            if (leaves(file))
                file.content = targetInRoot(file.path, file.content);
    return checkedArchiveOf(inside);
}

Recording readRecording(std::istream& archive)
{
    Members members = readMembers(archive);
    Recording recording = recordingOf(members.take(MANIFEST_MEMBER),
        [&members](std::string const& member) { return members.take(member); });
    recording.document = members.take(DOCUMENT_MEMBER);
    members.contents.erase(README_MEMBER);
    if (!members.contents.empty())
        refuse(members.contents.begin()->first, "it is not in the manifest");
    checkRecording(recording);
    checkLinks(recording.files, members);
    return recording;
}

Recording readRecording(std::string const& path)
{
    try {
        std::ifstream file = openedFile(path);
        return readRecording(file);
    } catch (ArchiveError const& error) {
        throw ArchiveError("cannot read " + path + ": " + error.what());
    }
}

}
