// An archive is refused with a message, or its recording is the same after it was written and read.
// An input is an archive, or the manifest or the members of one, which fuzzing could not compress.

#include "app/recording/archive/GzipWriter.h"
#include "app/recording/archive/TarWriter.h"
#include "app/recording/archive/archive.h"
#include "fuzz/expect.h"

#include <cstdint>
#include <sstream>

namespace {

std::string withManifest(std::string const& manifest)
{
    app::TarWriter archive(0);
    archive.addFile("manifest.json", manifest);
    archive.addFile("document.json", "{}");
    archive.addFile("root/file", "content");
    archive.addFile("tools/0.out", "output");
    archive.addFile("tools/0.err", "");
    archive.addLink("root/link", "file");
    return archive.end();
}

std::string compressed(std::string const& members)
{
    app::GzipWriter stream;
    stream.write(members);
    return stream.end();
}

app::Recording recordingIn(std::string const& archive)
{
    std::istringstream stream(archive);
    return app::readRecording(stream);
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const input(reinterpret_cast<char const*>(data), size);
    std::string const archive = input.starts_with("\x1f\x8b") ? input
        : input.starts_with('{')                              ? withManifest(input)
                                                              : compressed(input);
    std::string written;
    try {
        written = app::archiveOf(recordingIn(archive));
    } catch (app::ArchiveError const& error) {
        fuzz::expect(std::string(error.what()).find(": ") != std::string::npos);
        return 0;
    }
    fuzz::expect(app::archiveOf(recordingIn(written)) == written);
    return 0;
}
