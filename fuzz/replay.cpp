// Runs a harness over the seeds in a folder. Each input that fuzzing ever found is a seed.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size);

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    unsigned replayed = 0;
    for (auto const& entry : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        std::vector<char> const bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<uint8_t const*>(bytes.data()), bytes.size());
        ++replayed;
    }
    std::printf("%u seeds replayed\n", replayed);
    return replayed == 0; // A folder without seeds is an error.
}
