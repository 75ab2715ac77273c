#pragma once

#include "app/recording/Recording.h"
#include "app/recording/archive/TarHeader.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <vector>

namespace app_test {

/** A member of an archive that a test makes, also one that no tar writes. */
struct PackedMember {
    std::string name;
    std::string content;
    char type = app::TAR_FILE;
    std::string target;
    /** Changes the header before its checksum is made. */
    std::function<void(app::TarHeader&)> change;
};

/** An archive that a test takes apart, changes and packs again. */
struct PackedArchive {
    explicit PackedArchive(app::Recording const& recording);

    /** Another type than the reader has, whose code is compiled for speed and linked once. */
    nlohmann::ordered_json manifest;
    std::vector<PackedMember> members; ///< without the manifest

    /** @throws std::out_of_range */
    PackedMember& member(std::string const& name);
    void remove(std::string const& name);

    /** @return the archive with its manifest first. */
    std::string packed() const;
    /** @param text in place of the manifest */
    std::string packedWith(std::string const& text) const;
};

/** @return the uncompressed archive, its end and padding included. */
std::string tarOf(std::vector<PackedMember> const& members);

std::string gzipped(std::string const& bytes);

/** @return a gzip stream of @p mebibytes of zeros behind @p head; its checksum is wrong. */
std::string gzippedZeros(std::string const& head, unsigned mebibytes);

}
