#include "bench/text_samples.h"
#include "common/basic/wide_string.h"

#include <benchmark/benchmark.h>

#include <iconv.h>

#include <cstdlib>
#include <cwchar>
#include <memory>
#include <stdexcept>

// As the library does, each rival allocates a block for the result and terminates it.

namespace {

enum class Sample { ascii, mixed };

template <Sample SAMPLE> std::string narrowSample(benchmark::State const& state)
{
    auto const length = static_cast<unsigned>(state.range(0));
    return SAMPLE == Sample::ascii ? bench::asciiText(length) : bench::mixedText(length);
}

template <Sample SAMPLE> std::wstring wideSample(benchmark::State const& state)
{
    auto const length = static_cast<unsigned>(state.range(0));
    return SAMPLE == Sample::ascii ? bench::asciiWide(length) : bench::mixedWide(length);
}

/** An iconv descriptor. It stays open between conversions, as in a program that uses iconv for
 * speed. */
class Converter {
public:
    Converter(char const* to, char const* from) : m_handle(iconv_open(to, from))
    {
        // iconv_open(3) returns (iconv_t) -1 on failure.
        if (m_handle == reinterpret_cast<iconv_t>(-1)) // NOLINT(performance-no-int-to-ptr)
            throw std::runtime_error("iconv_open: no such conversion");
    }
    Converter(Converter const&) = delete;
    Converter& operator=(Converter const&) = delete;
    ~Converter() { iconv_close(m_handle); }

    /** @return the bytes written. */
    size_t operator()(void const* source, size_t sourceBytes, void* target, size_t targetBytes)
    {
        char* from = static_cast<char*>(const_cast<void*>(source));
        char* to = static_cast<char*>(target);
        size_t room = targetBytes;
        if (iconv(m_handle, &from, &sourceBytes, &to, &room) == static_cast<size_t>(-1))
            std::abort();
        return targetBytes - room;
    }

private:
    iconv_t m_handle;
};

template <Sample SAMPLE> void widenDovrel(benchmark::State& state)
{
    std::string const source = narrowSample<SAMPLE>(state);
    bench::timeAndCount(state, [&source] { return dovrel::string(source.c_str()); });
}

template <Sample SAMPLE> void widenC(benchmark::State& state)
{
    std::string const source = narrowSample<SAMPLE>(state);
    for (auto round : state) {
        char const* from = source.c_str();
        std::unique_ptr<wchar_t[]> text(new wchar_t[source.size() + 1]);
        std::mbstate_t shift{};
        size_t const count = mbsnrtowcs(text.get(), &from, source.size(), source.size(), &shift);
        text[count] = L'\0';
        benchmark::DoNotOptimize(text.get());
        benchmark::ClobberMemory();
    }
}

template <Sample SAMPLE> void widenIconv(benchmark::State& state)
{
    std::string const source = narrowSample<SAMPLE>(state);
    Converter convert("WCHAR_T", "UTF-8");
    for (auto round : state) {
        std::unique_ptr<wchar_t[]> text(new wchar_t[source.size() + 1]);
        size_t const bytes =
            convert(source.c_str(), source.size(), text.get(), source.size() * sizeof(wchar_t));
        text[bytes / sizeof(wchar_t)] = L'\0';
        benchmark::DoNotOptimize(text.get());
        benchmark::ClobberMemory();
    }
}

void widenByHand(benchmark::State& state)
{
    std::string const source = narrowSample<Sample::ascii>(state);
    for (auto round : state) {
        std::unique_ptr<wchar_t[]> text(new wchar_t[source.size() + 1]);
        size_t i = 0;
        for (; i < source.size() && static_cast<unsigned char>(source[i]) < 0x80; ++i)
            text[i] = source[i];
        text[i] = L'\0';
        benchmark::DoNotOptimize(text.get());
        benchmark::ClobberMemory();
    }
}

template <Sample SAMPLE> void narrowDovrel(benchmark::State& state)
{
    dovrel::string const source(wideSample<SAMPLE>(state).c_str());
    bench::timeAndCount(state, [&source] { return static_cast<char const*>(source); });
}

template <Sample SAMPLE> void narrowC(benchmark::State& state)
{
    std::wstring const source = wideSample<SAMPLE>(state);
    size_t const room = source.size() * 4; // Longest character of UTF-8; MB_CUR_MAX is larger.
    for (auto round : state) {
        wchar_t const* from = source.c_str();
        std::unique_ptr<char[]> text(new char[room + 1]);
        std::mbstate_t shift{};
        size_t const bytes = wcsnrtombs(text.get(), &from, source.size(), room, &shift);
        text[bytes] = '\0';
        benchmark::DoNotOptimize(text.get());
        benchmark::ClobberMemory();
    }
}

template <Sample SAMPLE> void narrowIconv(benchmark::State& state)
{
    std::wstring const source = wideSample<SAMPLE>(state);
    size_t const room = source.size() * 4;
    Converter convert("UTF-8", "WCHAR_T");
    for (auto round : state) {
        std::unique_ptr<char[]> text(new char[room + 1]);
        size_t const bytes =
            convert(source.c_str(), source.size() * sizeof(wchar_t), text.get(), room);
        text[bytes] = '\0';
        benchmark::DoNotOptimize(text.get());
        benchmark::ClobberMemory();
    }
}

void narrowByHand(benchmark::State& state)
{
    std::wstring const source = wideSample<Sample::ascii>(state);
    for (auto round : state) {
        std::unique_ptr<char[]> text(new char[source.size() + 1]);
        size_t i = 0;
        for (; i < source.size() && static_cast<unsigned>(source[i]) < 0x80; ++i)
            text[i] = static_cast<char>(source[i]);
        text[i] = '\0';
        benchmark::DoNotOptimize(text.get());
        benchmark::ClobberMemory();
    }
}

void asciiLengths(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(8)->Arg(64)->Arg(4096);
}

void mixedLengths(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(64)->Arg(4096);
}

}

BENCHMARK(widenDovrel<Sample::ascii>)->Name("widen/dovrel")->Apply(asciiLengths);
BENCHMARK(widenC<Sample::ascii>)->Name("widen/mbsnrtowcs")->Apply(asciiLengths);
BENCHMARK(widenIconv<Sample::ascii>)->Name("widen/iconv")->Apply(asciiLengths);
BENCHMARK(widenByHand)->Name("widen/by_hand")->Apply(asciiLengths);
BENCHMARK(widenDovrel<Sample::mixed>)->Name("widen_mixed/dovrel")->Apply(mixedLengths);
BENCHMARK(widenC<Sample::mixed>)->Name("widen_mixed/mbsnrtowcs")->Apply(mixedLengths);
BENCHMARK(widenIconv<Sample::mixed>)->Name("widen_mixed/iconv")->Apply(mixedLengths);

BENCHMARK(narrowDovrel<Sample::ascii>)->Name("narrow/dovrel")->Apply(asciiLengths);
BENCHMARK(narrowC<Sample::ascii>)->Name("narrow/wcsnrtombs")->Apply(asciiLengths);
BENCHMARK(narrowIconv<Sample::ascii>)->Name("narrow/iconv")->Apply(asciiLengths);
BENCHMARK(narrowByHand)->Name("narrow/by_hand")->Apply(asciiLengths);
BENCHMARK(narrowDovrel<Sample::mixed>)->Name("narrow_mixed/dovrel")->Apply(mixedLengths);
BENCHMARK(narrowC<Sample::mixed>)->Name("narrow_mixed/wcsnrtombs")->Apply(mixedLengths);
BENCHMARK(narrowIconv<Sample::mixed>)->Name("narrow_mixed/iconv")->Apply(mixedLengths);
