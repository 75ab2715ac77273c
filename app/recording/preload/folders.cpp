// The names in folders, in the order in which the machine listed them: the library takes the first
// name of a disk, for example. On 32 bits it must define both readdir and readdir64, and the macro
// makes one of them the other.
#undef _FILE_OFFSET_BITS

#include "app/recording/answer_line.h"
#include "app/recording/preload/answers.h"
#include "app/recording/preload/files.h"
#include "app/recording/preload/stage.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <string>
#include <vector>

using preload::Answers;
using preload::answers;
using preload::answersCalls;
using preload::isOwn;
using preload::isRecording;
using preload::real;

namespace {

/** A folder whose names are answered. */
struct Listing {
    std::vector<std::string> const* names;
    size_t next = 0;
    dirent entry{};
    dirent64 largeEntry{};
};

std::map<DIR*, Listing>& listings()
{
    static std::map<DIR*, Listing> listings;
    return listings;
}

/** @param next the C library's function */
template <typename Entry> Entry* nextEntry(DIR* folder, Entry Listing::*place, Entry* (*next)(DIR*))
{
    auto const found = listings().find(folder);
    if (found == listings().end())
        return next(folder);
    Listing& listing = found->second;
    if (listing.next == listing.names->size())
        return nullptr;
    std::string const& name = (*listing.names)[listing.next++];
    Entry& entry = listing.*place;
    entry = {};
    entry.d_ino = 1;
    entry.d_reclen = sizeof entry;
    entry.d_type = DT_UNKNOWN;
    name.copy(entry.d_name, sizeof entry.d_name - 1);
    return &entry;
}

}

ANSWERED DIR* opendir(char const* path)
{
    static auto* const next = real<DIR*(char const*)>("opendir");
    Answers::Refusal const* const refusal = preload::refusalOf(path);
    bool const isRefused = refusal && refusal->list != 0;
    DIR* const folder = isRefused ? nullptr : next(path);
    if (isRefused)
        errno = refusal->list;
    if (isRecording() && !isOwn(path))
        preload::log("list", app::asWord(path) + " " + (folder ? "0" : app::errorName(errno)));
    if (folder)
        preload::noteOpened(dirfd(folder), path);
    if (folder && answersCalls() && !isOwn(path))
        if (auto const order = answers().orders.find(path); order != answers().orders.end())
            listings()[folder].names = &order->second;
    return folder;
}

ANSWERED dirent* readdir(DIR* folder)
{
    return nextEntry(folder, &Listing::entry, real<dirent*(DIR*)>("readdir"));
}

ANSWERED dirent64* readdir64(DIR* folder)
{
    return nextEntry(folder, &Listing::largeEntry, real<dirent64*(DIR*)>("readdir64"));
}

ANSWERED int closedir(DIR* folder)
{
    static auto* const next = real<int(DIR*)>("closedir");
    listings().erase(folder);
    preload::noteClosed(dirfd(folder));
    return next(folder);
}
