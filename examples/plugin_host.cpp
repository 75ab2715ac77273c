// A host that loads the library at run time. It looks up two functions by name and calls the
// virtual functions of the object that libopen returns.

#include <sysinfo/plugin.h>

#include <dlfcn.h>

#include <iostream>
#include <memory>
#include <stdexcept>
#include <vector>

using sysinfo::SystemInformation;

namespace {

/** The loaded library. Destroy all objects of the library before this one. */
class Plugin {
public:
    explicit Plugin(char const* file) : m_library(dlopen(file, RTLD_NOW | RTLD_LOCAL))
    {
        if (!m_library)
            throw std::runtime_error(dlerror());
    }
    Plugin(Plugin const&) = delete;
    Plugin& operator=(Plugin const&) = delete;
    ~Plugin() { dlclose(m_library); }

    template <class Function> Function* entry(char const* name) const
    {
        void* const address = dlsym(m_library, name);
        if (!address)
            throw std::runtime_error(dlerror());
        return reinterpret_cast<Function*>(address);
    }

private:
    void* m_library;
};

bool showProcessors(SystemInformation const& system)
{
    std::vector<dovrel::value_ptr<SystemInformation::CPUInfo>> processors;
    if (!system.getCPUsInternal(processors))
        return false;
    for (size_t i = 0; i < processors.size(); ++i)
        std::cout << "processor " << i << ": " << processors[i]->getCurrentSpeedInMHZ() << " of "
                  << processors[i]->getMaxSpeedInMHZ() << " MHz\n";
    return true;
}

}

int main(int argc, char** argv)
{
    try {
        Plugin const plugin(argc > 1 ? argv[1] : "libdovrel-sysinfo.so.1");
        auto* const open = plugin.entry<decltype(libopen)>("libopen");
        auto* const close = plugin.entry<decltype(libclose)>("libclose");

        // libclose must destroy the object, not delete.
        std::unique_ptr<SystemInformation, decltype(close)> const system(open(), close);
        if (!showProcessors(*system)) {
            std::cerr << "plugin_host: cannot list the processors\n";
            return 1;
        }
        return 0;
    } catch (std::exception const& error) {
        std::cerr << "plugin_host: " << error.what() << '\n';
        return 1;
    }
}
