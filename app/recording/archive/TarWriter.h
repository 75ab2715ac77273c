#pragma once

#include "app/recording/archive/GzipWriter.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace app {

/** Writes an archive in the ustar format, which every tar reads. */
class TarWriter {
public:
    /** @param time of all members, seconds since 1970 */
    explicit TarWriter(int64_t time);

    /** @return whether the format has room for the name: 100 bytes, or 155, a slash and 100. */
    static bool hasRoomFor(std::string_view name);
    /** @return whether the format has room for the target of a link: 100 bytes. */
    static bool hasRoomForTarget(std::string_view target);

    /** @param name has to fit, as @p target below. */
    void addFile(std::string_view name, std::string_view content);
    void addLink(std::string_view name, std::string_view target);

    /** @return the complete archive, compressed. */
    std::string end();

private:
    int64_t m_time;
    GzipWriter m_out;
};

}
