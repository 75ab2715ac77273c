#include "app/recording/redaction/characters.h"
#include "app/recording/redaction/find_values.h"
#include "app/recording/redaction/lines.h"

#include <algorithm>
#include <vector>

namespace app {

namespace {

using Kind = RedactedKind;

/** Folders whose files many machines have. */
constexpr std::string_view SYSTEM_FOLDERS[] = {"/bin", "/boot", "/dev", "/etc", "/lib", "/lib32",
    "/lib64", "/opt", "/proc", "/run", "/sbin", "/sys", "/usr", "/var/cache", "/var/lib",
    "/var/lock", "/var/log", "/var/run"};

/** Last parts of names of two parts that are a host's or domain's, and no file's. */
constexpr std::string_view DOMAINS[] = {"com", "net", "org", "edu", "gov", "info", "local", "lan",
    "intern", "internal", "intranet", "corp", "home", "localdomain", "example", "test"};

/** Words before the name of a host. */
constexpr std::string_view BEFORE_HOST[] = {
    "host ", "host: ", "hostname ", "hostname: ", "server ", "server: ", "resolve ", "resolve: "};

/** Words that follow "host" or "resolve" in messages of the C library and of tools. */
constexpr std::string_view NO_HOSTS[] = {"host", "hostname", "name", "names", "not", "is", "key",
    "lookup", "address", "for", "by", "and", "or", "in", "unreachable", "unknown", "down", "failed",
    "cannot"};

/** Folders in which people make others. */
constexpr std::string_view TOP_FOLDERS[] = {
    "data", "export", "home", "media", "mnt", "net", "root", "snap", "srv", "tmp", "var"};

template <size_t COUNT> bool isOneOf(std::string_view word, std::string_view const (&words)[COUNT])
{
    return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

bool isHostCharacter(char c)
{
    return isAlphanumeric(c) || c == '-' || c == '.' || c == '_';
}

/** @return whether it is the name of a host with its domain, and no file "libc.so.6". */
bool isFullHostName(std::string_view name)
{
    size_t const dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || name.find("..") != std::string_view::npos)
        return false;
    std::string const last = lowered(name.substr(dot + 1));
    bool const isWord = last.size() > 1 && std::none_of(last.begin(), last.end(), isDigit);
    return isOneOf(last, DOMAINS)
        || (isWord && name.find('.') < dot && last != "so" && last != "conf");
}

/** Adds what follows the word "host". It may be any word, so it is replaced there alone. */
void findBehindHost(std::string_view line, RedactedValues& values)
{
    std::string const text = lowered(line);
    for (std::string_view const before : BEFORE_HOST)
        for (size_t place = text.find(before); place != std::string::npos;
             place = text.find(before, place + 1)) {
            std::string_view rest = line.substr(place + before.size());
            bool const isQuoted = !rest.empty() && (rest[0] == '\'' || rest[0] == '"');
            rest.remove_prefix(isQuoted ? 1 : 0);
            size_t length = 0;
            while (length < rest.size() && isHostCharacter(rest[length]))
                ++length;
            std::string_view const name = rest.substr(0, length);
            if (isFullHostName(name))
                values.addHost(name);
            else if (!isOneOf(name, NO_HOSTS))
                values.addFreeText(
                    Kind::HOST_NAME, name, text.substr(place, before.size() + (isQuoted ? 1 : 0)));
        }
}

void findOtherPath(std::string_view path, RedactedValues& values)
{
    for (std::string_view const folder : SYSTEM_FOLDERS)
        if (path.substr(0, folder.size()) == folder
            && (path.size() == folder.size() || path[folder.size()] == '/'))
            return;
    std::string_view const top = path.substr(1, path.find('/', 1) - 1);
    bool const isUsual = path.size() > 1 && isOneOf(top, TOP_FOLDERS);
    values.addPath(Kind::USER_NAME, path, isUsual ? std::min(top.size() + 2, path.size()) : 1);
}

/** @return the paths that may begin at a place. One in brackets or quotation marks, or before
 * ": ", may have blanks. */
std::vector<std::string_view> pathsAt(std::string_view line, size_t begin)
{
    constexpr char const* ENDS = " \t\"'`,:;()[]{}<>";
    constexpr std::string_view OPEN = "([{<\"'`";
    constexpr std::string_view CLOSE = ")]}>\"''";
    std::string_view const rest = line.substr(begin);
    std::vector<std::string_view> paths = {rest.substr(0, rest.find_first_of(ENDS))};
    size_t const opened = begin == 0 ? std::string_view::npos : OPEN.find(line[begin - 1]);
    if (opened != std::string_view::npos)
        paths.push_back(rest.substr(0, rest.find(CLOSE[opened])));
    else if (size_t const end = rest.find(": "); end < rest.find(" /"))
        paths.push_back(rest.substr(0, end));
    return paths;
}

}

void findInFreeText(std::string_view text, RedactedValues& values)
{
    for (std::string_view const line : linesIn(text)) {
        for (size_t begin = 0; begin < line.size();) {
            size_t end = begin;
            while (end < line.size() && isHostCharacter(line[end]))
                ++end;
            std::string_view name = line.substr(begin, end - begin);
            while (!name.empty() && name.back() == '.')
                name.remove_suffix(1);
            bool const isInPath =
                begin > 0 && line[begin - 1] == '/' && !(begin > 1 && line[begin - 2] == '/');
            if (!isInPath && isFullHostName(name))
                values.addHost(name);
            begin = end + 1;
        }
        findBehindHost(line, values);
    }
}

void findInErrors(std::string_view text, RedactedValues& values)
{
    findInFreeText(text, values);
    for (std::string_view const line : linesIn(text))
        for (size_t begin = line.find('/'); begin < line.size(); begin = line.find('/', begin)) {
            size_t length = 0;
            bool const isRelative = begin > 0 && isHostCharacter(line[begin - 1]);
            for (std::string_view const path : pathsAt(line, begin)) {
                length = std::max(length, path.size());
                if (!isRelative)
                    findOtherPath(path, values);
                findInPath(path, values);
            }
            begin += length;
        }
}

}
