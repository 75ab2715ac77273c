#pragma once

#include "app/recording/archive/GzipReader.h"
#include "app/recording/archive/TarHeader.h"

#include <cstdint>
#include <istream>
#include <optional>
#include <string>

namespace app {

struct TarMember {
    std::string name; ///< relative, plain text without ".", ".." and "//"; empty: the folder "."
    char type = TAR_FILE; ///< or TAR_LINK or TAR_FOLDER
    uint64_t size = 0;
    std::string target; ///< of a link
};

/** Reads an archive in the ustar format that holds files, symbolic links and folders, and refuses
 * everything else. tar(1) reads more formats, and writes what an archive says. */
class TarReader {
public:
    explicit TarReader(std::istream& compressed);

    /** @return the next member; nothing at the end. The content of the one before has to be read.
     * @throws ArchiveError as the other one. */
    std::optional<TarMember> next();

    /** @return the content of the file that `next` has returned. */
    std::string contentOf(TarMember const& member);

private:
    bool readHeader(TarHeader& header);
    void readExactly(char* bytes, size_t size, std::string const& item);
    void readEnd();

    GzipReader m_source;
    uint64_t m_members = 0;
};

}
