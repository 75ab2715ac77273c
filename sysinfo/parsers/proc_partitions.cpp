#include "sysinfo/parsers/proc_partitions.h"

#include "sysinfo/parsers/line_fields.h"

namespace sysinfo {

namespace {

/** Extracts a word as `>>` does, without a copy. @return false if none is left. */
bool skipWord(std::istream& text)
{
    std::istream::sentry const blanksAreSkipped(text);
    if (!blanksAreSkipped)
        return false;
    using Traits = std::istream::traits_type;
    std::streambuf& buffer = *text.rdbuf();
    Traits::int_type next = buffer.sgetc();
    while (
        !Traits::eq_int_type(next, Traits::eof()) && !BLANKS.contains(Traits::to_char_type(next)))
        next = buffer.snextc();
    return true;
}

}

void readPartitions(std::istream& text,
    std::function<void(std::string const& name)> const& partitionFound,
    std::function<void(DiskEntry const& disk)> const& diskFound)
{
    std::string heading;
    std::getline(text, heading);

    DiskEntry pending; // The name is empty if there is none.
    auto const close = [&] {
        if (!pending.name.empty())
            diskFound(pending);
        pending = {};
    };
    DiskEntry entry;
    while (skipWord(text) && skipWord(text) && text >> entry.blocks >> entry.name) {
        bool const isPartition = DIGITS.contains(entry.name.back());
        bool const belongs = !pending.name.empty() && entry.name.starts_with(pending.name);
        if (isPartition && belongs) {
            partitionFound(entry.name);
            ++pending.partitions;
            continue;
        }
        if (!belongs)
            close();
        if (!isPartition)
            pending = entry;
    }
    close();
}

}
