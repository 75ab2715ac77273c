#include <benchmark/benchmark.h>

#include <clocale>
#include <cstdio>

int main(int argc, char** argv)
{
    // All sides have to convert the same encoding. C.UTF-8 is the one that every installation has.
    if (!std::setlocale(LC_ALL, "C.UTF-8")) {
        std::fputs("text_bench: the locale C.UTF-8 is missing\n", stderr);
        return 2;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
