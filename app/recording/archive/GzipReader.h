#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

#include <zlib.h>

namespace app {

/** The bytes in a gzip stream, RFC 1952, of one member with nothing behind it. */
class GzipReader {
public:
    explicit GzipReader(std::istream& compressed);
    GzipReader(GzipReader const&) = delete;
    GzipReader& operator=(GzipReader const&) = delete;
    ~GzipReader();

    /**
     * @return the number of bytes that it has filled: less than @p size only at the end.
     *
     * @param item is read; the name for the message
     * @throws ArchiveError where the stream is cut short, longer than MOST_COMPRESSED or wrong
     */
    size_t read(char* bytes, size_t size, std::string const& item);

private:
    void readInput(std::string const& item);
    void checkNothingFollows() const;

    std::istream& m_compressed;
    std::vector<char> m_input;
    uint64_t m_inputSize = 0;
    z_stream m_stream = {};
    bool m_ended = false;
};

}
