#include "bench/main.h"

void bench::prepare()
{
    useUtf8();
}
