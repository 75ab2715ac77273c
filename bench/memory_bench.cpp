#include "sysinfo/LinuxSystemInformation.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <cstdint>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

constexpr char PATH[] = "/proc/meminfo";

struct Figures {
    uint64_t total = 0;
    uint64_t free = 0;
};

/** The free memory differs from round to round, but there always is some. */
void expectKnown(Figures const& figures)
{
    if (figures.total == 0 || figures.free == 0 || figures.free > figures.total)
        throw std::runtime_error("the figures were not read");
}

void memoryDovrel(benchmark::State& state)
{
    sysinfo::LinuxSystemInformation const system;
    for (auto round : state) {
        Figures figures;
        // Linux's own also asks dmidecode, which is the tool's time and none of the library's.
        if (!system.UNIXSystemInformation::getMemoryInfo(figures.total, figures.free))
            throw std::runtime_error("the memory cannot be read");
        expectKnown(figures);
    }
}

/** @return the number behind the label; 0 where it is not there. */
uint64_t figure(char const* text, char const* end, char const* label)
{
    char const* at = std::strstr(text, label);
    if (!at)
        return 0;
    at += std::strlen(label);
    while (*at == ' ')
        ++at;
    uint64_t number = 0;
    std::from_chars(at, end, number);
    return number;
}

void memoryByBareScan(benchmark::State& state)
{
    for (auto round : state) {
        int const file = open(PATH, O_RDONLY | O_CLOEXEC);
        char text[4096];
        ssize_t const size = read(file, text, sizeof text - 1);
        close(file);
        if (size < 0)
            throw std::runtime_error("the memory cannot be read");
        text[size] = '\0';
        Figures const figures{
            figure(text, text + size, "MemTotal:"), figure(text, text + size, "MemFree:")};
        expectKnown(figures);
    }
}

void memoryByStream(benchmark::State& state)
{
    for (auto round : state) {
        std::ifstream file(PATH);
        Figures figures;
        std::string label;
        uint64_t number = 0;
        for (std::string unit; file >> label >> number >> unit;) {
            if (label == "MemTotal:")
                figures.total = number;
            else if (label == "MemFree:")
                figures.free = number;
            if (figures.total != 0 && figures.free != 0)
                break;
        }
        expectKnown(figures);
    }
}

}

BENCHMARK(memoryDovrel)->Name("memory/dovrel");
BENCHMARK(memoryByBareScan)->Name("memory/bare_scan");
BENCHMARK(memoryByStream)->Name("memory/stream");

int main(int argc, char** argv)
{
    try {
        benchmark::Initialize(&argc, argv);
        if (benchmark::ReportUnrecognizedArguments(argc, argv))
            return 2;
        benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
        return 0;
    } catch (std::exception const& error) {
        std::cerr << "memory_bench: " << error.what() << '\n';
        return 2;
    }
}
