#include "app/recording_file.h"

#include "app/OutputFile.h"
#include "app/recording/archive.h"

namespace app {

void writeRecording(Recording const& recording, std::string const& path, bool force)
{
    constexpr unsigned OWNER_ONLY = 0600;
    OutputFile const file(path, OWNER_ONLY, force ? OutputFile::REPLACED : OutputFile::KEPT);
    file.write(archiveOf(recording));
}

}
