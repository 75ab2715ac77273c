#include "bench/main.h"

#include <benchmark/benchmark.h>

#include <dlfcn.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

// unistd.h declares it only with GNU extensions.
extern char** environ; // NOLINT(readability-redundant-declaration): clang enables these

namespace {

/** Calls dlopen, libopen, libclose and dlclose. */
void load(benchmark::State& state, char const* path)
{
    for (auto round : state) {
        void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (!library)
            throw std::runtime_error(dlerror());
        auto const open = reinterpret_cast<void* (*)()>(dlsym(library, "libopen"));
        auto const close = reinterpret_cast<void (*)(void*)>(dlsym(library, "libclose"));
        if (!open || !close)
            throw std::runtime_error(std::string(path) + " lacks an entry point");
        close(open());
        dlclose(library);
    }
    if (dlopen(path, RTLD_NOW | RTLD_NOLOAD))
        state.SkipWithError("the library stayed loaded, so loading was not measured");
}

/** Runs a program from its start to its exit. */
void start(benchmark::State& state, char const* path, char const* argument)
{
    char* const arguments[] = {const_cast<char*>(path), const_cast<char*>(argument), nullptr};
    for (auto round : state) {
        pid_t child = 0;
        int const error = posix_spawn(&child, path, nullptr, nullptr, arguments, environ);
        if (error != 0)
            throw std::system_error(error, std::generic_category(), path);
        int status = 0;
        while (waitpid(child, &status, 0) < 0) {
            if (errno != EINTR)
                throw std::system_error(errno, std::generic_category(), "waitpid");
        }
        if (status != 0)
            throw std::runtime_error(std::string(path) + " failed");
    }
}

/**
 * Keeps Boost.Filesystem loaded.
 *
 * Its STB_GNU_UNIQUE symbols keep it in memory once it is loaded. So in most hosts only the first
 * load of this library loads it too. `first_load` measures the first load.
 */
void holdFilesystemLibrary()
{
    if (!dlopen(FILESYSTEM_LIBRARY, RTLD_NOW | RTLD_LOCAL))
        throw std::runtime_error(dlerror());
}

}

// The build defines the paths.
BENCHMARK_CAPTURE(load, dovrel, DOVREL_LIBRARY)->Name("load/dovrel");
BENCHMARK_CAPTURE(load, empty, EMPTY_LIBRARY)->Name("load/empty");
BENCHMARK_CAPTURE(load, empty_filesystem, EMPTY_FILESYSTEM_LIBRARY)->Name("load/empty_filesystem");

BENCHMARK_CAPTURE(start, load_dovrel, FIRST_LOAD_HOST, DOVREL_LIBRARY)
    ->Name("first_load/dovrel")
    ->UseRealTime();
BENCHMARK_CAPTURE(start, load_empty, FIRST_LOAD_HOST, EMPTY_LIBRARY)
    ->Name("first_load/empty")
    ->UseRealTime();
BENCHMARK_CAPTURE(start, load_empty_filesystem, FIRST_LOAD_HOST, EMPTY_FILESYSTEM_LIBRARY)
    ->Name("first_load/empty_filesystem")
    ->UseRealTime();

BENCHMARK_CAPTURE(start, dovrel, DOVREL_HOST, nullptr)->Name("start/dovrel")->UseRealTime();
BENCHMARK_CAPTURE(start, empty, EMPTY_HOST, nullptr)->Name("start/empty")->UseRealTime();
BENCHMARK_CAPTURE(start, empty_filesystem, EMPTY_FILESYSTEM_HOST, nullptr)
    ->Name("start/empty_filesystem")
    ->UseRealTime();

void bench::prepare()
{
    holdFilesystemLibrary();
}
