// A library with the plug-in's two entry points, which do nothing: the cost of loading any C++
// library. Built twice: linked to the C++ library alone, and to Boost.Filesystem too.

#include <string>

#ifdef BENCH_WITH_FILESYSTEM
#include <boost/filesystem/operations.hpp>

/** Used, so that --as-needed keeps the library. */
extern "C" __attribute__((visibility("default"))) bool usesFilesystem(char const* path)
{
    return boost::filesystem::exists(path);
}
#endif

extern "C" __attribute__((visibility("default"))) void* libopen()
{
    return new std::string;
}

extern "C" __attribute__((visibility("default"))) void libclose(void* object)
{
    delete static_cast<std::string*>(object);
}
