#include "bench/fake_ini.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <random>
#include <system_error>

namespace bench {

namespace {

constexpr unsigned SECTION_KEYS = 100;
constexpr size_t LARGEST_SAMPLE = 4096;

/** Keys like those of the recovery engine's files. */
IniEntry entryOf(unsigned number)
{
    static char const* const words[] = {"RestoreStart", "TotalFiles", "FilesDone", "AdvancedOption",
        "Volume", "NetworkAdapter", "Status"};
    std::string const text = std::to_string(number);
    return {"RestoreStatus" + std::to_string(number / SECTION_KEYS),
        words[number % std::size(words)] + text, "24-03-2013 14:05:09 " + text};
}

void writeAll(int file, std::string const& text)
{
    for (size_t done = 0; done < text.size();) {
        ssize_t const written = write(file, text.data() + done, text.size() - done);
        if (written < 0)
            throw std::system_error(errno, std::generic_category(), "write");
        done += static_cast<size_t>(written);
    }
}

}

FakeIni const& FakeIni::ofKeys(unsigned keys)
{
    static std::map<unsigned, std::unique_ptr<FakeIni>> made;
    std::unique_ptr<FakeIni>& ini = made[keys];
    if (!ini)
        ini.reset(new FakeIni(keys));
    return *ini;
}

FakeIni::FakeIni(unsigned keys) : m_file(memfd_create("ini", MFD_CLOEXEC))
{
    if (m_file < 0)
        throw std::system_error(errno, std::generic_category(), "memfd_create");
    m_path = "/proc/self/fd/" + std::to_string(m_file);

    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): every run reads the same file
    std::vector<IniEntry> entries;
    for (unsigned number = 0; number < keys; ++number)
        entries.push_back(entryOf(number));
    std::string text = "; written by the recovery engine\n";
    for (size_t first = 0; first < entries.size(); first += SECTION_KEYS) {
        auto const begin = entries.begin() + static_cast<ptrdiff_t>(first);
        auto const end = begin + std::min<ptrdiff_t>(SECTION_KEYS, entries.end() - begin);
        std::shuffle(begin, end, random);
        text += "\n[" + begin->section + "]\n";
        for (auto entry = begin; entry != end; ++entry)
            text += entry->key + " = " + entry->value + '\n';
    }
    writeAll(m_file, text);

    std::shuffle(entries.begin(), entries.end(), random);
    entries.resize(std::min(entries.size(), LARGEST_SAMPLE));
    m_sample = std::move(entries);
}

FakeIni::~FakeIni()
{
    close(m_file);
}

}
