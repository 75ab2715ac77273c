// The shortest host: linked once against the library and once against each empty one.

extern "C" void* libopen();
extern "C" void libclose(void* object);

int main()
{
    libclose(libopen());
    return 0;
}
