#include "app/recording/archive/GzipWriter.h"

#include <array>
#include <new>

namespace app {

namespace {

constexpr int GZIP = 16 + MAX_WBITS; // zlib.h, deflateInit2
constexpr int MEMORY_LEVEL = 8; // zlib's usual one.

}

GzipWriter::GzipWriter()
{
    if (deflateInit2(
            &m_stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, GZIP, MEMORY_LEVEL, Z_DEFAULT_STRATEGY)
        != Z_OK)
        throw std::bad_alloc();
}

GzipWriter::~GzipWriter()
{
    deflateEnd(&m_stream);
}

std::string GzipWriter::end()
{
    compress({}, Z_FINISH);
    return std::move(m_compressed);
}

void GzipWriter::compress(std::string_view bytes, int flush)
{
    constexpr size_t PIECE = 65'536;
    std::array<char, PIECE> piece;
    // zlib changes none of it.
    m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    m_stream.avail_in = static_cast<uInt>(bytes.size());
    do {
        m_stream.next_out = reinterpret_cast<Bytef*>(piece.data());
        m_stream.avail_out = static_cast<uInt>(piece.size());
        deflate(&m_stream, flush);
        m_compressed.append(piece.data(), piece.size() - m_stream.avail_out);
    } while (m_stream.avail_out == 0);
}

}
