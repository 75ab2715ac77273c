#include "app/recording/stored_file.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace app {

namespace {

[[noreturn]] void failToRead(std::string const& path)
{
    throw std::system_error(errno, std::generic_category(), path);
}

/** Closes its file. */
struct Descriptor {
    int const number;

    ~Descriptor()
    {
        if (number >= 0)
            close(number);
    }
};

void makeFoldersOf(std::string const& path)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1))
        if (mkdir(path.substr(0, slash).c_str(), 0755) != 0 && errno != EEXIST)
            failToRead(path.substr(0, slash));
}

}

std::string storedText(std::string const& path)
{
    Descriptor const file{open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (file.number < 0)
        failToRead(path);
    std::string text;
    std::array<char, 65536> piece;
    for (;;) {
        ssize_t const count = read(file.number, piece.data(), piece.size());
        if (count == 0)
            return text;
        if (count > 0)
            text.append(piece.data(), static_cast<size_t>(count));
        else if (errno != EINTR)
            failToRead(path);
    }
}

void store(std::string const& path, std::string const& text)
{
    makeFoldersOf(path);
    Descriptor const file{open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)};
    if (file.number < 0)
        failToRead(path);
    for (size_t done = 0; done < text.size();) {
        ssize_t const count = write(file.number, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR)
            failToRead(path);
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
}

std::string toolFileName(std::vector<std::string> const& command)
{
    uint64_t hash = 0xCBF29CE484222325U; // FNV-1a
    for (std::string const& argument : command)
        for (size_t i = 0; i <= argument.size(); ++i)
            hash = (hash ^ static_cast<unsigned char>(argument.c_str()[i])) * 0x100000001B3U;
    std::array<char, 20> name;
    std::snprintf(name.data(), name.size(), "%016llx", static_cast<unsigned long long>(hash));
    return name.data();
}

}
