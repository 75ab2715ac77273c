#include "tests/app/recording/PackedArchive.h"

#include "app/recording/archive/GzipWriter.h"
#include "app/recording/archive/TarReader.h"
#include "app/recording/archive/archive.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

using app::TarHeader;

namespace app_test {

namespace {

template <size_t SIZE> void fill(std::array<char, SIZE>& field, std::string const& text)
{
    text.copy(field.data(), SIZE);
}

std::string octal(uint64_t number, int digits)
{
    std::ostringstream text;
    text << std::oct;
    text.width(digits);
    text.fill('0');
    text << number;
    return text.str();
}

std::string blocksOf(PackedMember const& member)
{
    TarHeader header{};
    size_t const slash = member.name.rfind('/');
    if (member.name.size() > header.name.size() && slash != std::string::npos)
        fill(header.prefix, member.name.substr(0, slash));
    fill(header.name, header.prefix[0] ? member.name.substr(slash + 1) : member.name);
    fill(header.mode, "0000644");
    fill(header.user, "0000000");
    fill(header.group, "0000000");
    fill(header.size, octal(member.content.size(), 11));
    fill(header.time, "00000000000");
    fill(header.target, member.target);
    fill(header.magic, "ustar");
    fill(header.version, "00");
    header.type = member.type;
    if (member.change)
        member.change(header);
    fill(header.checksum, octal(app::checksumOf(header), 6) + '\0' + ' ');
    std::string blocks(reinterpret_cast<char const*>(&header), sizeof(header));
    return blocks + member.content + std::string(app::paddingOf(member.content.size()), '\0');
}

}

PackedArchive::PackedArchive(app::Recording const& recording)
{
    std::istringstream archive(app::archiveOf(recording));
    app::TarReader reader(archive);
    while (auto const next = reader.next()) {
        std::string const content = next->type == app::TAR_FILE ? reader.contentOf(*next) : "";
        if (next->name == "manifest.json")
            manifest = nlohmann::ordered_json::parse(content);
        else
            members.push_back({next->name, content, next->type, next->target, {}});
    }
}

PackedMember& PackedArchive::member(std::string const& name)
{
    auto const found = std::find_if(members.begin(), members.end(),
        [&name](PackedMember const& item) { return item.name == name; });
    if (found == members.end())
        throw std::out_of_range(name);
    return *found;
}

void PackedArchive::remove(std::string const& name)
{
    PackedMember const& found = member(name);
    members.erase(members.begin() + (&found - members.data()));
}

std::string PackedArchive::packed() const
{
    return packedWith(manifest.dump());
}

std::string PackedArchive::packedWith(std::string const& text) const
{
    std::vector<PackedMember> all = {{"manifest.json", text, app::TAR_FILE, "", {}}};
    all.insert(all.end(), members.begin(), members.end());
    return gzipped(tarOf(all));
}

std::string tarOf(std::vector<PackedMember> const& members)
{
    constexpr size_t RECORD = 10'240; // As GNU tar pads an archive.
    std::string tar;
    for (PackedMember const& member : members)
        tar += blocksOf(member);
    tar.append(2 * TarHeader::BLOCK, '\0');
    tar.append((RECORD - tar.size() % RECORD) % RECORD, '\0');
    return tar;
}

std::string gzipped(std::string const& bytes)
{
    app::GzipWriter writer;
    writer.write(bytes);
    return writer.end();
}

std::string gzippedZeros(std::string const& head, unsigned mebibytes)
{
    constexpr size_t MEBIBYTE = 1024 * 1024;
    constexpr int GZIP = 16 + MAX_WBITS;
    std::string const zeros(MEBIBYTE, '\0');
    z_stream stream = {};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, GZIP, 8, Z_DEFAULT_STRATEGY);
    auto const flushed = [&stream](std::string const& bytes) {
        std::string out(bytes.size() + 1000, '\0');
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
        stream.avail_in = static_cast<uInt>(bytes.size());
        stream.next_out = reinterpret_cast<Bytef*>(out.data());
        stream.avail_out = static_cast<uInt>(out.size());
        // Forgets what came before, so that each piece can be repeated.
        deflate(&stream, Z_FULL_FLUSH);
        out.resize(out.size() - stream.avail_out);
        return out;
    };
    std::string compressed = flushed(head + zeros);
    std::string const piece = flushed(zeros);
    for (unsigned i = 1; i < mebibytes; ++i)
        compressed += piece;
    deflateEnd(&stream);
    return compressed + std::string("\x03\0\0\0\0\0\0\0\0\0", 10);
}

}
