#pragma once

#include <string>
#include <string_view>

#include <zlib.h>

namespace app {

/** Compresses to a gzip stream in memory. The same bytes become the same stream. */
class GzipWriter {
public:
    GzipWriter();
    GzipWriter(GzipWriter const&) = delete;
    GzipWriter& operator=(GzipWriter const&) = delete;
    ~GzipWriter();

    void write(std::string_view bytes) { compress(bytes, Z_NO_FLUSH); }

    /** @return the complete stream; nothing can be written afterwards. */
    std::string end();

private:
    void compress(std::string_view bytes, int flush);

    z_stream m_stream = {};
    std::string m_compressed;
};

}
