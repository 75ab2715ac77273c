#include "app/read/kernel_file.h"

#include "app/model/natural_order.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace app {

namespace {

constexpr size_t LARGEST_FILE = size_t{16} * 1024 * 1024;
constexpr char const* BLANKS = " \t\r\n\v\f";

UnreadableFiles* unreadableFiles = nullptr;

/** Keeps errno. */
void noteUnreadable(std::string const& path, bool wasOpen)
{
    int const error = errno;
    bool const isMissing = error == ENOENT || error == ENOTDIR || error == ENODEV || error == ENXIO;
    // The results of a driver that has no value for its file.
    bool const isRefused =
        wasOpen && (error == EINVAL || error == ENODATA || error == EOPNOTSUPP || error == EBUSY);
    if (!isMissing && !isRefused)
        noteUnusable(path, error);
}

/** An open file, read-only. */
class Descriptor {
public:
    explicit Descriptor(std::string const& path)
        : m_number(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY))
    {
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    ~Descriptor()
    {
        int const error = errno;
        if (m_number >= 0)
            close(m_number);
        errno = error;
    }

    int number() const { return m_number; }

    bool isRegular() const
    {
        struct stat status { };
        if (m_number < 0 || fstat(m_number, &status) != 0)
            return false;
        if (S_ISREG(status.st_mode))
            return true;
        errno = S_ISDIR(status.st_mode) ? EISDIR : NO_REGULAR_FILE;
        return false;
    }

private:
    int const m_number;
};

bool isOctal(char c)
{
    return c >= '0' && c <= '7';
}

/** @return whether four characters at @p position stand for one byte. */
bool isEscape(std::string const& text, size_t position)
{
    return text.size() - position >= 4 && text[position] == '\\' && text[position + 1] >= '0'
        && text[position + 1] <= '3' && isOctal(text[position + 2]) && isOctal(text[position + 3]);
}

}

std::optional<std::string> readFile(std::string const& path)
{
    Descriptor const file(path);
    if (!file.isRegular()) {
        noteUnreadable(path, false);
        return std::nullopt;
    }
    std::string text;
    for (;;) {
        std::array<char, 65536> piece;
        ssize_t const count = read(file.number(), piece.data(), piece.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            noteUnreadable(path, true);
            return std::nullopt;
        }
        if (count == 0)
            return text;
        text.append(piece.data(), static_cast<size_t>(count));
        if (text.size() > LARGEST_FILE) {
            errno = EFBIG;
            noteUnreadable(path, true);
            return std::nullopt;
        }
    }
}

std::optional<std::string> readLine(std::string const& path)
{
    auto const text = readFile(path);
    return text ? known(trimmed(text->substr(0, text->find('\n')))) : std::nullopt;
}

std::string errorText(int error)
{
    switch (error) {
    case NO_REGULAR_FILE:
        return "it is no regular file";
    case EMPTY_FILE:
        return "it is empty";
    case NO_NUMBER:
        return "it has no number";
    case NUMBER_TOO_LARGE:
        return "its number is too large";
    case NO_VALUE:
        return "it has no valid value";
    default:
        return std::strerror(error);
    }
}

std::optional<uint64_t> readNumber(std::string const& path, uint64_t largest, char const* unknown)
{
    auto const text = readFile(path);
    if (!text)
        return std::nullopt;
    std::string const line = trimmed(text->substr(0, text->find('\n')));
    auto const number = numberOf(line);
    if (number && *number <= largest)
        return number;
    if (unknown && line == unknown)
        return std::nullopt;
    bool const isNumber = line.find_first_not_of("0123456789") == std::string::npos;
    noteUnusable(path, line.empty() ? EMPTY_FILE : isNumber ? NUMBER_TOO_LARGE : NO_NUMBER);
    return std::nullopt;
}

std::optional<bool> readFlag(std::string const& path)
{
    auto const number = readNumber(path);
    return number ? std::optional(*number != 0) : std::nullopt;
}

bool exists(std::string const& path)
{
    struct stat ignored { };
    return stat(path.c_str(), &ignored) == 0;
}

std::optional<std::vector<std::string>> namesIn(std::string const& folder)
{
    std::unique_ptr<DIR, int (*)(DIR*)> const directory(opendir(folder.c_str()), closedir);
    if (!directory) {
        noteUnreadable(folder, false);
        return std::nullopt;
    }
    std::vector<std::string> names;
    for (;;) {
        errno = 0;
        dirent const* const entry = readdir(directory.get());
        if (!entry)
            break;
        std::string const name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    if (errno != 0)
        noteUnreadable(folder, false);
    std::sort(names.begin(), names.end(), naturallyBefore);
    return names;
}

std::optional<std::string> resolved(std::string const& path)
{
    std::unique_ptr<char, void (*)(void*)> const real(realpath(path.c_str(), nullptr), std::free);
    return real ? std::optional<std::string>(real.get()) : std::nullopt;
}

void noteUnusable(std::string const& path, int error)
{
    if (unreadableFiles) {
        auto& files = unreadableFiles->files;
        if (std::none_of(files.begin(), files.end(),
                [&path](UnreadableFiles::File const& file) { return file.path == path; }))
            files.push_back({path, error});
    }
    errno = error;
}

UnreadableFiles::UnreadableFiles() : m_outer(std::exchange(unreadableFiles, this))
{
}

UnreadableFiles::~UnreadableFiles()
{
    unreadableFiles = m_outer;
}

std::vector<std::string> linesOf(std::string const& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> wordsOf(std::string const& text)
{
    std::vector<std::string> words;
    for (size_t begin = text.find_first_not_of(BLANKS); begin != std::string::npos;) {
        size_t const end = std::min(text.find_first_of(BLANKS, begin), text.size());
        words.push_back(text.substr(begin, end - begin));
        begin = text.find_first_not_of(BLANKS, end);
    }
    return words;
}

std::string trimmed(std::string const& text)
{
    std::string const outside = std::string(BLANKS) + '\0';
    size_t const begin = text.find_first_not_of(outside);
    if (begin == std::string::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(outside) - begin + 1);
}

std::optional<std::string> known(std::string const& text)
{
    return text.empty() ? std::nullopt : std::optional(text);
}

std::optional<uint64_t> numberOf(std::string const& text, int base)
{
    uint64_t number = 0;
    char const* const end = text.data() + text.size();
    auto const [behind, error] = std::from_chars(text.data(), end, number, base);
    return error == std::errc() && behind == end ? std::optional(number) : std::nullopt;
}

std::string decodeOctal(std::string const& text)
{
    std::string decoded;
    for (size_t position = 0; position < text.size(); ++position) {
        if (!isEscape(text, position)) {
            decoded += text[position];
            continue;
        }
        unsigned byte = 0;
        for (size_t digit = 1; digit <= 3; ++digit)
            byte = byte * 8 + static_cast<unsigned>(text[position + digit] - '0');
        decoded += static_cast<char>(byte);
        position += 3;
    }
    return decoded;
}

}
