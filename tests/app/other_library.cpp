#include <sysinfo/LinuxSystemInformation.h>
#include <sysinfo/plugin.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <unistd.h>

/** Another build of the library: it knows one processor and a memory, which no machine has, traces
 * nothing, and says on standard error how many of its records are left when it is closed. */
namespace {

std::atomic<int> recordsLeft{0};

class OtherCpu : public sysinfo::SystemInformation::CPUInfo {
public:
    OtherCpu() { ++recordsLeft; }
    OtherCpu(OtherCpu const& other) : CPUInfo(other) { ++recordsLeft; }
    OtherCpu& operator=(OtherCpu const&) = delete;
    ~OtherCpu() override { --recordsLeft; }

    dovrel::string toString() const override { return "other"; }
    unsigned int getMaxSpeedInMHZ() const override { return 456; }
    unsigned int getCurrentSpeedInMHZ() const override { return 123; }
    float getCurrentUsage() const override
    {
        if (std::getenv("OTHER_CPU_IS_IDLE"))
            sleep(101);
        return 42.5F;
    }
    void destroy() override { delete this; }
    CPUInfo* clone() const override { return new OtherCpu(*this); }
};

class OtherFailure : public std::exception {
public:
    char const* what() const noexcept override { return "the other memory\nfailed"; }
};

class OtherSystem : public sysinfo::LinuxSystemInformation {
public:
    bool getCPUsInternal(std::vector<dovrel::value_ptr<CPUInfo>>& processors) const override
    {
        processors.emplace_back(new OtherCpu);
        return true;
    }

    dovrel::value_ptr<CloneInfo> getCloneInfo(bool& unavailable) const override
    {
        if (std::getenv("OTHER_RECOVERY_FAILS"))
            throw OtherFailure();
        // A quarter of the files, and no bytes: -1 of -1 is all of them.
        unavailable = false;
        return dovrel::value_ptr<CloneInfo>(
            new UNIXCloneInfo(5000, 0, 62, 200, 0, 50, 0, -1, -1, 1774361100, 1774361150, 0, ""));
    }

    bool getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const override
    {
        totalKiB = 3072;
        if (std::getenv("OTHER_MEMORY_FAILS"))
            throw OtherFailure();
        freeKiB = 1024;
        return true;
    }
};

}

sysinfo::SystemInformation* libopen()
{
    return new OtherSystem;
}

void libclose(sysinfo::SystemInformation* object)
{
    delete object;
    std::fprintf(stderr, "records left: %d\n", recordsLeft.load());
}
