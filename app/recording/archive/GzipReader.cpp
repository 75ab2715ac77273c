#include "app/recording/archive/GzipReader.h"

#include "app/recording/archive/ArchiveError.h"
#include "app/recording/archive/limits.h"

#include <new>

namespace app {

namespace {

constexpr size_t INPUT_SIZE = 65'536;
constexpr int GZIP_ONLY = 16 + MAX_WBITS; // zlib.h, inflateInit2

}

GzipReader::GzipReader(std::istream& compressed) : m_compressed(compressed), m_input(INPUT_SIZE)
{
    if (inflateInit2(&m_stream, GZIP_ONLY) != Z_OK)
        throw std::bad_alloc();
}

GzipReader::~GzipReader()
{
    inflateEnd(&m_stream);
}

size_t GzipReader::read(char* bytes, size_t size, std::string const& item)
{
    m_stream.next_out = reinterpret_cast<Bytef*>(bytes);
    m_stream.avail_out = static_cast<uInt>(size);
    while (m_stream.avail_out > 0 && !m_ended) {
        if (m_stream.avail_in == 0)
            readInput(item);
        int const result = inflate(&m_stream, Z_NO_FLUSH);
        if (result == Z_MEM_ERROR)
            throw std::bad_alloc();
        if (result == Z_STREAM_END) {
            m_ended = true;
            checkNothingFollows();
        } else if (result != Z_OK) {
            refuse(item, "the gzip stream is damaged, or it is none");
        }
    }
    return size - m_stream.avail_out;
}

void GzipReader::readInput(std::string const& item)
{
    m_compressed.read(m_input.data(), static_cast<std::streamsize>(m_input.size()));
    auto const count = static_cast<size_t>(m_compressed.gcount());
    if (count == 0)
        refuse(item, m_compressed.bad() ? "the file cannot be read" : "the file is cut short");
    m_inputSize += count;
    if (m_inputSize > MOST_COMPRESSED)
        refuse(item, "the file is larger than " + std::to_string(MOST_COMPRESSED) + " bytes");
    m_stream.next_in = reinterpret_cast<Bytef*>(m_input.data());
    m_stream.avail_in = static_cast<uInt>(count);
}

void GzipReader::checkNothingFollows() const
{
    if (m_stream.avail_in > 0 || m_compressed.peek() != std::istream::traits_type::eof())
        refuse("the end of the archive", "data follows the gzip stream");
}

}
