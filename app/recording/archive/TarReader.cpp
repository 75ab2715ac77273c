#include "app/recording/archive/TarReader.h"

#include "app/recording/archive/ArchiveError.h"
#include "app/recording/archive/escaped_text.h"
#include "app/recording/archive/limits.h"
#include "app/recording/archive/link_target.h"

#include <algorithm>

namespace app {

namespace {

/** @return the text of a field, which a NUL ends where it is shorter. */
template <size_t SIZE> std::string textOf(std::array<char, SIZE> const& field)
{
    return {field.begin(), std::find(field.begin(), field.end(), '\0')};
}

/** @return the octal number of a field, which a NUL or a blank ends; nothing where it is none. */
template <size_t SIZE> std::optional<uint64_t> octalOf(std::array<char, SIZE> const& field)
{
    auto const isDigit = [](char byte) { return byte >= '0' && byte <= '7'; };
    auto const begin = std::find_if(field.begin(), field.end(), [](char c) { return c != ' '; });
    auto const end = std::find_if_not(begin, field.end(), isDigit);
    if (begin == end || (end != field.end() && *end != ' ' && *end != '\0'))
        return std::nullopt;
    uint64_t number = 0;
    std::for_each(begin, end,
        [&number](char digit) { number = number << 3 | static_cast<uint64_t>(digit - '0'); });
    return number;
}

/** @return the name of a kind of member that a recording does not have. */
char const* nameOfType(char type)
{
    switch (type) {
    case '1':
        return "it is a hard link";
    case '3':
    case '4':
        return "it is a device";
    case '6':
        return "it is a FIFO";
    case 'x':
    case 'g':
        return "it is a header of the pax format; pack with tar --format=ustar";
    case 'L':
    case 'K':
        return "it is a long name of the GNU format; pack with tar --format=ustar";
    default:
        return "it is of an unknown type";
    }
}

void checkName(TarMember const& member, std::string const& shown)
{
    if (!isPlain(member.name))
        refuse(shown, "its name has a control character or a byte that is no UTF-8");
    if (member.name.starts_with('/'))
        refuse(shown, "its name is absolute");
    if (!hasOnlyNames(member.name) && !(member.name.empty() && member.type == TAR_FOLDER))
        refuse(shown, "its name is empty, or it has \".\", \"..\" or \"//\"");
}

std::string nameIn(TarHeader const& header)
{
    std::string const prefix = textOf(header.prefix);
    std::string name = (prefix.empty() ? "" : prefix + "/") + textOf(header.name);
    // `tar -c .` writes these, and a slash at the end of folders.
    if (name.starts_with("./"))
        name.erase(0, 2);
    if (header.type == TAR_FOLDER && name == ".")
        name.clear();
    if (header.type == TAR_FOLDER && name.size() > 1 && name.ends_with('/'))
        name.pop_back();
    return name;
}

TarMember memberOf(TarHeader const& header, std::string const& place)
{
    if (octalOf(header.checksum) != checksumOf(header))
        refuse(place, "the checksum is wrong");
    TarMember member;
    member.name = nameIn(header);
    std::string const shown = member.name.empty() ? place : member.name;
    if (std::string_view(header.magic.data(), header.magic.size()) != TAR_MAGIC)
        refuse(shown, "it is not in the ustar format; pack with tar --format=ustar");
    member.type = header.type == TAR_OLD_FILE ? TAR_FILE : header.type;
    if (member.type != TAR_FILE && member.type != TAR_LINK && member.type != TAR_FOLDER)
        refuse(shown, nameOfType(member.type));
    checkName(member, shown);
    auto const size = octalOf(header.size);
    if (!size || (*size != 0 && member.type != TAR_FILE))
        refuse(shown, "its size is wrong");
    member.size = *size;
    if (member.type == TAR_LINK) {
        member.target = textOf(header.target);
        if (!canBeUnpacked("/" + member.name, member.target))
            refuse(shown, "it is a link that leads out of the archive");
    }
    return member;
}

bool isZeros(char const* bytes, size_t size)
{
    return std::all_of(bytes, bytes + size, [](char byte) { return byte == '\0'; });
}

}

TarReader::TarReader(std::istream& compressed) : m_source(compressed)
{
}

std::optional<TarMember> TarReader::next()
{
    TarHeader header{};
    if (!readHeader(header)) {
        readEnd();
        return std::nullopt;
    }
    std::string const place = "member " + std::to_string(++m_members);
    if (m_members > MOST_MEMBERS)
        refuse(place, "the archive has more than " + std::to_string(MOST_MEMBERS) + " members");
    return memberOf(header, place);
}

std::string TarReader::contentOf(TarMember const& member)
{
    std::string content(static_cast<size_t>(member.size), '\0');
    readExactly(content.data(), content.size(), member.name);
    std::array<char, TarHeader::BLOCK> padding = {};
    readExactly(padding.data(), paddingOf(member.size), member.name);
    return content;
}

/** @return false at the end: a block of zeros. */
bool TarReader::readHeader(TarHeader& header)
{
    auto* const bytes = reinterpret_cast<char*>(&header);
    readExactly(bytes, sizeof(header), "member " + std::to_string(m_members + 1));
    return !isZeros(bytes, sizeof(header));
}

void TarReader::readExactly(char* bytes, size_t size, std::string const& item)
{
    if (m_source.read(bytes, size, item) != size)
        refuse(item, "the archive is cut short");
}

/** Reads what is behind the first block of zeros: a second one, and further ones up to the size of
 * a record, tar(5). */
void TarReader::readEnd()
{
    constexpr char const* END = "the end of the archive";
    std::array<char, TarHeader::BLOCK> block = {};
    readExactly(block.data(), block.size(), END);
    uint64_t padding = 0;
    for (size_t count = block.size(); count == block.size();) {
        if (!isZeros(block.data(), count))
            refuse(END, "data follows it");
        if ((padding += count) > MOST_PADDING)
            refuse(END, "more than " + std::to_string(MOST_PADDING) + " zeros follow it");
        count = m_source.read(block.data(), block.size(), END);
        if (count < block.size() && !isZeros(block.data(), count))
            refuse(END, "data follows it");
    }
}

}
