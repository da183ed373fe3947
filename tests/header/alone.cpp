// The public header alone, as C++17.
#include "alone.c"
