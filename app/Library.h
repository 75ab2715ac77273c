#pragma once

#include "app/TraceOutput.h"

#include <sysinfo/SystemInformation.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace app {

/** The message names the file and what is wrong with it. */
class LibraryError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/**
 * One build of the library and a service object of it: the build that the program is linked with,
 * or another one.
 *
 * Records of its queries must be gone before it is.
 */
class Library {
public:
    /** The build that the program is linked with. @throws std::bad_alloc */
    Library();

    /**
     * Another build, loaded at run time.
     *
     * @param path a file, relative to the working directory; the system's library folders are not
     * searched.
     * @throws LibraryError where it cannot be loaded or lacks the plug-in entries.
     */
    explicit Library(std::string const& path);

    sysinfo::SystemInformation const& service() const noexcept { return *m_service; }
    TraceControl const& trace() const noexcept { return m_trace; }

private:
    struct Unload {
        void operator()(void* handle) const noexcept;
    };

    // Destroyed from the last to the first: the service object before its code.
    std::unique_ptr<void, Unload> m_handle;
    TraceControl m_trace;
    std::unique_ptr<sysinfo::SystemInformation, void (*)(sysinfo::SystemInformation*)> m_service;
};

}
