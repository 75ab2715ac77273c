#pragma once

#include "app/recording/preload/answers.h"
#include "app/recording/preload/stage.h"

#include <sys/stat.h>

#include <map>
#include <string>
#include <utility>

namespace preload {

using FileIdentity = std::pair<dev_t, ino64_t>;

/** @return the values of the paths at which there is a file, by the file: a descriptor does not
 * tell by which path it was opened. */
template <typename Value>
std::map<FileIdentity, Value> byFile(std::map<std::string, Value> const& byPath)
{
    static auto* const realStat = real<int(char const*, struct stat64*)>("stat64");
    std::map<FileIdentity, Value> values;
    for (auto const& [path, value] : byPath) {
        struct stat64 status { };
        if (realStat(path.c_str(), &status) == 0)
            values.emplace(FileIdentity(status.st_dev, status.st_ino), value);
    }
    return values;
}

/** Notes the path of a file or folder that was opened. */
void noteOpened(int file, std::string const& path);

/** Forgets the path: the number may be that of another file from now on. */
void noteClosed(int file);

/** @return the path by which a file was opened for reading while a machine is recorded; empty where
 * that is not known. */
std::string pathOf(int file);

/** @return whether the path is none of the machine's facts: a recording itself, the descriptors of
 * this process, terminals. */
bool isOwn(std::string const& path);

/** @return the recorded errors of a path; null where there is none. */
Answers::Refusal const* refusalOf(std::string const& path);

}
