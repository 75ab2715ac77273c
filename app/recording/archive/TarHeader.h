#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace app {

/** A header of the ustar format, POSIX.1-1988, tar(5). Contents and headers fill whole blocks. */
struct TarHeader {
    static constexpr size_t BLOCK = 512;

    std::array<char, 100> name;
    std::array<char, 8> mode;
    std::array<char, 8> user;
    std::array<char, 8> group;
    std::array<char, 12> size;
    std::array<char, 12> time;
    std::array<char, 8> checksum;
    char type;
    std::array<char, 100> target; ///< of a link
    std::array<char, 6> magic;
    std::array<char, 2> version;
    std::array<char, 32> userName;
    std::array<char, 32> groupName;
    std::array<char, 8> majorNumber;
    std::array<char, 8> minorNumber;
    std::array<char, 155> prefix; ///< of the name, a slash between them
    std::array<char, 12> unused;
};

static_assert(sizeof(TarHeader) == TarHeader::BLOCK);

constexpr std::string_view TAR_MAGIC = {"ustar\0", 6};
constexpr std::string_view TAR_VERSION = "00";
constexpr char TAR_FILE = '0';
constexpr char TAR_OLD_FILE = '\0';
constexpr char TAR_LINK = '2';
constexpr char TAR_FOLDER = '5';

/** @return the sum of the header's bytes, its own field taken as blanks. */
uint64_t checksumOf(TarHeader header);

/** @return the bytes between the end of a content and the next header. */
constexpr size_t paddingOf(uint64_t size)
{
    return static_cast<size_t>((TarHeader::BLOCK - size % TarHeader::BLOCK) % TarHeader::BLOCK);
}

}
