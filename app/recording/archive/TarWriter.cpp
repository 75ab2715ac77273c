#include "app/recording/archive/TarWriter.h"

#include "app/recording/archive/TarHeader.h"

#include <algorithm>
#include <limits>

namespace app {

namespace {

template <size_t SIZE> void put(std::array<char, SIZE>& field, std::string_view text)
{
    std::copy_n(text.begin(), std::min(text.size(), SIZE), field.begin());
}

/** Writes octal digits and the NUL behind them. */
template <size_t SIZE> void putOctal(std::array<char, SIZE>& field, uint64_t number)
{
    for (auto digit = field.rbegin() + 1; digit != field.rend(); ++digit, number >>= 3)
        *digit = static_cast<char>('0' + (number & 7));
}

/** @return where the prefix of a name ends: 0 without one; npos where there is no room for it. */
size_t prefixSize(std::string_view name)
{
    TarHeader const header{};
    if (name.size() <= header.name.size())
        return 0;
    // The first slash that leaves room for the rest makes the shortest prefix.
    size_t const slash = name.find('/', name.size() - header.name.size() - 1);
    bool const fits = slash != std::string_view::npos && slash > 0 && slash + 1 < name.size()
        && slash <= header.prefix.size();
    return fits ? slash : std::string_view::npos;
}

TarHeader headerOf(std::string_view name, char type, uint64_t size, int64_t time)
{
    constexpr uint64_t MODE = 0600; // As the archive itself.
    constexpr int64_t LAST_TIME = 077777777777;
    TarHeader header{};
    size_t const prefix = prefixSize(name);
    put(header.prefix, name.substr(0, prefix));
    put(header.name, prefix == 0 ? name : name.substr(prefix + 1));
    putOctal(header.mode, MODE);
    putOctal(header.user, 0);
    putOctal(header.group, 0);
    putOctal(header.size, size);
    putOctal(header.time, static_cast<uint64_t>(std::clamp<int64_t>(time, 0, LAST_TIME)));
    header.type = type;
    put(header.magic, TAR_MAGIC);
    put(header.version, TAR_VERSION);
    putOctal(header.majorNumber, 0);
    putOctal(header.minorNumber, 0);
    return header;
}

std::string_view bytesOf(TarHeader& header)
{
    // The last field's digits are followed by a NUL and a blank.
    header.checksum = {};
    std::array<char, 7> digits = {};
    putOctal(digits, checksumOf(header));
    put(header.checksum, {digits.data(), digits.size()});
    header.checksum.back() = ' ';
    return {reinterpret_cast<char const*>(&header), sizeof(header)};
}

constexpr std::array<char, TarHeader::BLOCK> ZEROS = {};

std::string_view zeros(size_t count)
{
    return {ZEROS.data(), count};
}

}

TarWriter::TarWriter(int64_t time) : m_time(time)
{
}

bool TarWriter::hasRoomFor(std::string_view name)
{
    return prefixSize(name) != std::string_view::npos;
}

bool TarWriter::hasRoomForTarget(std::string_view target)
{
    return target.size() <= TarHeader{}.target.size();
}

void TarWriter::addFile(std::string_view name, std::string_view content)
{
    TarHeader header = headerOf(name, TAR_FILE, content.size(), m_time);
    m_out.write(bytesOf(header));
    m_out.write(content);
    m_out.write(zeros(paddingOf(content.size())));
}

void TarWriter::addLink(std::string_view name, std::string_view target)
{
    TarHeader header = headerOf(name, TAR_LINK, 0, m_time);
    put(header.target, target);
    m_out.write(bytesOf(header));
}

std::string TarWriter::end()
{
    m_out.write(zeros(TarHeader::BLOCK));
    m_out.write(zeros(TarHeader::BLOCK));
    return m_out.end();
}

}
