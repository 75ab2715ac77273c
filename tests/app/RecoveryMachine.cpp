#include "tests/app/RecoveryMachine.h"

#include <array>
#include <ctime>
#include <utility>

namespace app_test {

namespace {

constexpr char const* STATUS_FILE = "etc/dovrel/status.ini";

}

RecoveryMachine::RecoveryMachine()
{
    std::filesystem::create_directories(m_folder.path() / "etc/dovrel");
    std::filesystem::create_directories(m_folder.path() / "tmp");
    // It tells the dynamic linker where the libraries are.
    std::filesystem::copy_file("/etc/ld.so.cache", m_folder.path() / "etc/ld.so.cache");
}

void RecoveryMachine::status(std::string const& text) const
{
    std::filesystem::rename(
        m_folder.file("etc/dovrel/status.new", text), m_folder.path() / STATUS_FILE);
}

std::string RecoveryMachine::restore(std::string const& operation, std::string const& times,
    unsigned filesDone, unsigned megabytesDone)
{
    return "[Main]\nStatus=" + operation + "\n" + times
        + "[RestoreStatus]\nTotalFiles=200\nFilesDone=" + std::to_string(filesDone)
        + "\nTotalBytes=1048576000\nBytesDone=" + std::to_string(megabytesDone * 1048576ULL) + "\n";
}

void RecoveryMachine::removeStatus() const
{
    std::filesystem::remove(m_folder.path() / STATUS_FILE);
}

void RecoveryMachine::hideStatus() const
{
    std::filesystem::permissions(m_folder.path() / STATUS_FILE, std::filesystem::perms::none);
}

void RecoveryMachine::answers(std::string const& text) const
{
    m_folder.file("etc/dovrel/DRAnswer.ini", text);
}

void RecoveryMachine::percent(std::string const& text) const
{
    m_folder.file("tmp/percent", text);
}

Program RecoveryMachine::program(std::vector<std::string> arguments) const
{
    Program program(std::move(arguments));
    program.replaced["/etc"] = m_folder.path() / "etc";
    program.replaced["/tmp"] = m_folder.path() / "tmp";
    // The program and its library may themselves stand in the folder that is replaced.
    auto const build = std::filesystem::path(DOVREL_PROGRAM).parent_path().parent_path();
    auto const place = m_folder.path() / "tmp" / build.lexically_relative("/tmp");
    if (build.string().starts_with("/tmp/")) {
        std::filesystem::create_directories(place);
        program.replaced[place] = build;
    }
    program.environment["TZ"] = "UTC0";
    return program;
}

std::string engineTime(long long secondsFromNow)
{
    std::time_t const time = std::time(nullptr) + static_cast<std::time_t>(secondsFromNow);
    std::tm utc{};
    std::array<char, 64> text;
    gmtime_r(&time, &utc);
    return {text.data(), std::strftime(text.data(), text.size(), "%d-%m-%Y %H:%M:%S", &utc)};
}

}
