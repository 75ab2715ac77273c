// The shortest plug-in host: loads a library, opens and closes a service object, and unloads the
// library. The argument is its path.

#include <dlfcn.h>

int main(int argc, char** argv)
{
    void* const library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    if (!library)
        return 1;
    auto const open = reinterpret_cast<void* (*)()>(dlsym(library, "libopen"));
    auto const close = reinterpret_cast<void (*)(void*)>(dlsym(library, "libclose"));
    if (!open || !close)
        return 1;
    close(open());
    return dlclose(library);
}
