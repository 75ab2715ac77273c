/** A library like many others, with nothing that the program looks for. */
extern "C" __attribute__((visibility("default"))) int answer()
{
    return 42;
}
