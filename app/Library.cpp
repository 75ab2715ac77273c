#include "app/Library.h"

#include <sysinfo/plugin.h>

#include <dlfcn.h>

namespace app {

namespace {

// Without RTLD_DEEPBIND the loaded build's calls of its own functions would reach those of the
// build that the program is linked with: same names, and the program comes first in the search.
#if defined(__SANITIZE_ADDRESS__)
// The address sanitizer has to see its own malloc everywhere and refuses RTLD_DEEPBIND.
constexpr int BIND_TO_ITSELF = 0;
#else
constexpr int BIND_TO_ITSELF = RTLD_DEEPBIND;
#endif

// What the compiler makes of dovrel::trace::setDetailLevel(unsigned) and of
// dovrel::trace::setSink(Sink, void*), on i386 and amd64 alike.
constexpr char const* SET_DETAIL_LEVEL = "_ZN6dovrel5trace14setDetailLevelEj";
constexpr char const* SET_SINK = "_ZN6dovrel5trace7setSinkEPFvPvjPKcRKNS_6stringEES1_";

void* openLibrary(std::string const& path)
{
    // dlopen(3) takes a name without a slash for a library to be searched for.
    std::string const file = path.find('/') == std::string::npos ? "./" + path : path;
    void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | BIND_TO_ITSELF);
    if (!handle) {
        char const* const reason = dlerror();
        throw LibraryError("cannot load the library '" + path + "': " + (reason ? reason : ""));
    }
    return handle;
}

template <class Function> Function* find(void* handle, char const* name)
{
    return reinterpret_cast<Function*>(dlsym(handle, name));
}

template <class Function>
Function* findEntry(void* handle, char const* name, std::string const& path)
{
    Function* const entry = find<Function>(handle, name);
    if (!entry)
        throw LibraryError("the library '" + path + "' has no entry '" + name + "'");
    return entry;
}

TraceControl linkedTrace()
{
    return {&dovrel::trace::setDetailLevel, &dovrel::trace::setSink};
}

/** @return what governs the messages of a loaded build: where it is not bound to itself, they too
 * are written by the linked one. */
TraceControl loadedTrace(void* handle)
{
    if (BIND_TO_ITSELF == 0)
        return linkedTrace();
    return {find<void(unsigned)>(handle, SET_DETAIL_LEVEL),
        find<void(dovrel::trace::Sink, void*)>(handle, SET_SINK)};
}

}

void Library::Unload::operator()(void* handle) const noexcept
{
    dlclose(handle);
}

Library::Library() : m_trace(linkedTrace()), m_service(libopen(), &libclose)
{
}

Library::Library(std::string const& path)
    : m_handle(openLibrary(path)), m_trace(loadedTrace(m_handle.get())),
      m_service(
          nullptr, findEntry<void(sysinfo::SystemInformation*)>(m_handle.get(), "libclose", path))
{
    auto* const open = findEntry<sysinfo::SystemInformation*()>(m_handle.get(), "libopen", path);
    m_service.reset(open());
    if (!m_service)
        throw LibraryError("the library '" + path + "' made no service object");
}

}
