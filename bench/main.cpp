#include "bench/main.h"

#include <benchmark/benchmark.h>

#include <clocale>
#include <exception>
#include <iostream>
#include <stdexcept>

namespace bench {

void useUtf8()
{
    if (!std::setlocale(LC_ALL, "C.UTF-8"))
        throw std::runtime_error("the locale C.UTF-8 is missing");
}

}

int main(int argc, char** argv)
{
    try {
        // Reads the real /proc before prepare() replaces it.
        benchmark::CPUInfo::Get();
        bench::prepare();
        benchmark::Initialize(&argc, argv);
        if (benchmark::ReportUnrecognizedArguments(argc, argv))
            return 2;
        benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
        return 0;
    } catch (std::exception const& error) {
        std::cerr << argv[0] << ": " << error.what() << '\n';
        return 2;
    }
}
