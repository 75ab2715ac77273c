#include "common/basic/handle.h"

namespace dovrel {

template class handle<int>;
template class handles0<int, int (*)(int)>;
template handle<int> autohandle(int, int (*)(int));

}
