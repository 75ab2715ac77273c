#include "app/recording/recorded_log.h"

#include "app/recording/answer_line.h"
#include "app/recording/stored_file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace app {

namespace {

namespace fs = std::filesystem;

constexpr mode_t PERMISSIONS = 07777;

/** One line of the log. */
struct Entry {
    std::string query;
    std::string operation;
    std::vector<std::string> words;
    std::string text; ///< the words as they stand
};

std::vector<Entry> entriesOf(std::string const& log)
{
    std::vector<Entry> entries;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        Entry entry;
        size_t const first = line.find(' ');
        size_t const second = line.find(' ', first + 1);
        if (second == std::string::npos)
            continue; // Of a process that was killed.
        entry.query = line.substr(0, first);
        entry.operation = line.substr(first + 1, second - first - 1);
        entry.text = line.substr(second + 1);
        entry.words = wordsOfLine(entry.text);
        entries.push_back(std::move(entry));
    }
    return entries;
}

void addQuery(std::vector<std::string>& queries, std::string const& query)
{
    if (std::find(queries.begin(), queries.end(), query) == queries.end())
        queries.push_back(query);
}

RecordedFile::Kind kindOf(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFREG:
        return RecordedFile::REGULAR;
    case S_IFDIR:
        return RecordedFile::FOLDER;
    case S_IFLNK:
        return RecordedFile::LINK;
    case S_IFBLK:
        return RecordedFile::BLOCK_DEVICE;
    default:
        return RecordedFile::OTHER;
    }
}

std::string targetOf(std::string const& link)
{
    std::string target(PATH_MAX, '\0');
    ssize_t const size = readlink(link.c_str(), target.data(), target.size());
    target.resize(size > 0 ? static_cast<size_t>(size) : 0);
    return target;
}

/** The recorded files by their paths without links. */
class Files {
public:
    /** Adds what stands at a path, and each link on the way. @return it; null in a circle of links,
     * and where a file stands in place of a folder. */
    RecordedFile* add(std::string const& path, std::string const& query)
    {
        std::vector<std::string> rest = componentsOf(path);
        std::reverse(rest.begin(), rest.end());
        std::string place;
        constexpr int MOST_LINKS = 40; // As the kernel follows.
        for (int links = 0; !rest.empty();) {
            std::string const component = rest.back();
            rest.pop_back();
            if (component == "..") {
                place.erase(std::min(place.rfind('/'), place.size()));
                continue;
            }
            std::string const next = std::string(place).append("/").append(component);
            struct stat status { };
            if (lstat(next.c_str(), &status) != 0)
                return &absent(next, rest, query);
            // The kernel's link to the process that reads it is a folder for all.
            bool const isOwnProcess = next == "/proc/self" || next == "/proc/thread-self";
            if (!S_ISLNK(status.st_mode) || isOwnProcess) {
                place = next;
                if (rest.empty())
                    return &entry(place,
                        isOwnProcess ? RecordedFile::FOLDER : kindOf(status.st_mode),
                        status.st_mode & PERMISSIONS, query);
                if (!S_ISDIR(status.st_mode) && !isOwnProcess)
                    return nullptr;
                continue;
            }
            std::string const target = targetOf(next);
            RecordedFile& link = entry(next, RecordedFile::LINK, 0777, query);
            link.content = target;
            link.size = target.size();
            if (++links > MOST_LINKS)
                return nullptr;
            if (target.rfind('/', 0) == 0)
                place.clear();
            std::vector<std::string> components = componentsOf(target);
            rest.insert(rest.end(), components.rbegin(), components.rend());
        }
        return place.empty() ? nullptr : &entry(place, RecordedFile::FOLDER, 0755, query);
    }

    /** Adds what is in a folder, as far as it is not known. @return the names. */
    std::vector<std::string> addNames(RecordedFile const& folder)
    {
        std::vector<std::string> found;
        std::string const path = folder.path;
        std::vector<std::string> const queries = folder.queries;
        std::unique_ptr<DIR, int (*)(DIR*)> const names(opendir(path.c_str()), closedir);
        for (dirent const* name = nullptr; names && (name = readdir(names.get()));) {
            std::string const file = path + "/" + name->d_name;
            struct stat status { };
            bool const isSelf =
                std::strcmp(name->d_name, ".") == 0 || std::strcmp(name->d_name, "..") == 0;
            if (isSelf || lstat(file.c_str(), &status) != 0)
                continue;
            found.emplace_back(name->d_name);
            if (m_files.count(file) != 0)
                continue;
            for (std::string const& query : queries) {
                RecordedFile& entered =
                    entry(file, kindOf(status.st_mode), status.st_mode & PERMISSIONS, query);
                if (entered.kind == RecordedFile::LINK)
                    entered.content = targetOf(file);
            }
        }
        return found;
    }

    std::vector<RecordedFile> sorted() const
    {
        std::vector<RecordedFile> files;
        for (auto const& [path, file] : m_files)
            files.push_back(file);
        return files;
    }

private:
    static std::vector<std::string> componentsOf(std::string const& path)
    {
        std::vector<std::string> components;
        std::istringstream text(path);
        for (std::string component; std::getline(text, component, '/');)
            if (!component.empty() && component != ".")
                components.push_back(component);
        return components;
    }

    RecordedFile& absent(
        std::string place, std::vector<std::string> const& rest, std::string const& query)
    {
        for (auto component = rest.rbegin(); component != rest.rend(); ++component)
            place += "/" + *component;
        return entry(place, RecordedFile::ABSENT, 0, query);
    }

    RecordedFile& entry(
        std::string const& path, RecordedFile::Kind kind, mode_t mode, std::string const& query)
    {
        RecordedFile& file = m_files[path];
        if (file.path.empty()) {
            file.path = path;
            file.kind = kind;
            file.mode = mode;
        }
        addQuery(file.queries, query);
        return file;
    }

    std::map<std::string, RecordedFile> m_files;
};

/** What the log says of one path. */
struct Access {
    bool opened = false;
    bool listed = false;
    int openError = 0;
    int readError = 0;
    int listError = 0;
    std::optional<uint64_t> size;
    std::vector<std::string> queries;
};

std::map<std::string, Access> accessesOf(std::vector<Entry> const& entries)
{
    std::map<std::string, Access> accesses;
    for (Entry const& entry : entries) {
        if (entry.operation == "answer" || entry.operation == "tool" || entry.words.empty())
            continue;
        Access& access = accesses[entry.words[0]];
        addQuery(access.queries, entry.query);
        std::string const value = entry.words.size() > 1 ? entry.words[1] : "";
        if (entry.operation == "open") {
            access.openError = errorNumber(value);
            access.opened = access.opened || access.openError == 0;
        } else if (entry.operation == "read") {
            access.readError = errorNumber(value);
        } else if (entry.operation == "list") {
            access.listError = errorNumber(value);
            access.listed = access.listError == 0;
        } else if (entry.operation == "size" && !access.size) { // That of a second sample differs.
            access.size = std::stoull(value);
        }
    }
    return accesses;
}

bool isAbsence(int error)
{
    return error == 0 || error == ENOENT || error == ENOTDIR;
}

/** The errors that a replay must answer, because its own files have none. */
void addRefusals(std::string const& path, Access const& access, std::vector<std::string>& answers)
{
    auto const add = [&](char const* call, int error) {
        if (!isAbsence(error))
            answers.push_back(
                std::string("refuses ") + call + " " + asWord(path) + " " + errorName(error));
    };
    add("open", access.openError);
    add("read", access.readError);
    add("list", access.listError);
}

/** @return the answers, each once: the first one, but "hang" only where no other came. */
std::vector<std::string> answersOf(std::vector<Entry> const& entries)
{
    std::vector<std::string> keys;
    std::map<std::string, std::string> answers;
    std::map<std::string, std::string> buses;
    for (Entry const& entry : entries) {
        if (entry.operation != "answer" || entry.words.empty())
            continue;
        auto const& words = entry.words;
        std::string const& call = words[0];
        if (call == "bus" && words.size() == 3) {
            if (errorNumber(words[2]) == 0)
                buses.emplace(words[1], words[2]);
            continue;
        }
        // Calls without an argument have one answer. Lists have many lines.
        bool const isList = call == "adapter" || call == "address" || call == "netlink";
        bool const hasArgument =
            call == "statvfs" || call == "sector" || call == "device" || call == "lies-on";
        std::string const key = isList ? entry.text : hasArgument ? call + " " + words[1] : call;
        auto const [known, isNew] = answers.emplace(key, entry.text);
        if (isNew)
            keys.push_back(key);
        else if (call == "statvfs" && wordsOfLine(known->second).back() == "hang")
            known->second = entry.text;
    }
    std::vector<std::string> lines;
    for (std::string const& key : keys) {
        std::string line = answers[key];
        auto const words = wordsOfLine(line);
        if (auto const bus = buses.find(words[0] == "sector" ? words[1] : ""); bus != buses.end()) {
            line += " bus " + bus->second;
            buses.erase(bus);
        }
        lines.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
    }
    // Nobody asks for the sector size of a USB disk.
    for (auto const& [disk, bus] : buses)
        lines.push_back("sector " + asWord(disk) + " ENOTTY bus " + bus);
    return lines;
}

std::vector<std::string> argumentsIn(std::string const& text)
{
    std::vector<std::string> arguments;
    std::istringstream stream(text);
    for (std::string argument; std::getline(stream, argument, '\0');)
        arguments.push_back(argument);
    return arguments;
}

/** @return the variable that the query looks for; the others of the first process may be secrets.
 */
std::string containerVariable(std::string const& environment)
{
    for (std::string const& variable : argumentsIn(environment))
        if (variable.rfind("container=", 0) == 0)
            return variable + '\0';
    return {};
}

/** @return the file, or nothing where the process that wrote it was killed before. */
std::string textIfThere(std::string const& file)
{
    return fs::exists(file) ? storedText(file) : std::string();
}

std::vector<RecordedTool> toolsIn(std::string const& folder, std::vector<Entry> const& entries)
{
    std::vector<std::string> names;
    std::map<std::string, std::vector<std::string>> queries;
    for (Entry const& entry : entries)
        if (entry.operation == "tool") {
            addQuery(names, entry.words[0]);
            addQuery(queries[entry.words[0]], entry.query);
        }
    std::vector<RecordedTool> tools;
    for (std::string const& name : names) {
        std::string const file = std::string(folder).append("/tools/").append(name);
        RecordedTool tool;
        tool.command = argumentsIn(textIfThere(file + ".command"));
        tool.output = textIfThere(file + ".out");
        tool.errors = textIfThere(file + ".err");
        tool.outputSize = tool.output.size();
        tool.errorsSize = tool.errors.size();
        tool.queries = queries[name];
        tool.status = -1;
        std::istringstream status(textIfThere(file + ".status"));
        status >> tool.status >> tool.seconds >> tool.outputSize >> tool.errorsSize;
        if (!tool.command.empty())
            tools.push_back(std::move(tool));
    }
    return tools;
}

}

void readRecorded(std::string const& folder, Recording& recording)
{
    std::vector<Entry> const entries = entriesOf(storedText(folder + "/log"));
    recording.answers = answersOf(entries);
    recording.tools = toolsIn(folder, entries);
    Files files;
    auto const accesses = accessesOf(entries);
    std::vector<std::string> listed;
    for (auto const& [path, access] : accesses) {
        addRefusals(path, access, recording.answers);
        RecordedFile* file = nullptr;
        for (std::string const& query : access.queries)
            file = files.add(path, query);
        if (!file)
            continue;
        if (access.listed)
            listed.push_back(path);
        if (!isAbsence(access.openError) || access.readError != 0 || !isAbsence(access.listError))
            file->error = access.openError != 0 ? access.openError
                : access.readError != 0         ? access.readError
                                                : access.listError;
        std::string const kept = std::string(folder).append("/root").append(path);
        std::string const keptLater = std::string(folder).append("/later").append(path);
        if (!access.opened || file->opened || file->kind != RecordedFile::REGULAR)
            continue;
        file->opened = true;
        if (!fs::exists(kept))
            continue;
        file->content = storedText(kept);
        file->size = access.size.value_or(file->content.size());
        if (path == "/proc/1/environ") {
            file->content = containerVariable(file->content);
            file->size = file->content.size();
        }
        if (fs::exists(keptLater)) {
            RecordedFile later = *file;
            later.content = storedText(keptLater);
            later.size = later.content.size();
            recording.later.push_back(std::move(later));
        }
    }
    for (std::string const& path : listed)
        if (RecordedFile const* const file = files.add(path, accesses.at(path).queries.front())) {
            std::string line = "lists " + asWord(path);
            for (std::string const& name : files.addNames(*file))
                line += " " + asWord(name);
            recording.answers.push_back(line);
        }
    recording.files = files.sorted();
}

void writeAnswers(Recording const& recording, std::string const& folder)
{
    std::string lines;
    for (std::string const& line : recording.answers)
        lines += line + "\n";
    store(folder + "/answers", lines);
    for (RecordedTool const& tool : recording.tools) {
        std::string const file = folder + "/tools/" + toolFileName(tool.command);
        std::string arguments;
        for (std::string const& argument : tool.command)
            arguments += argument + '\0';
        store(file + ".command", arguments);
        store(file + ".out", tool.output);
        store(file + ".err", tool.errors);
        if (tool.status != -1)
            store(file + ".status", std::to_string(tool.status) + "\n");
    }
}

}
