// Included before everything else under the memory sanitizer, which must see each store: strings and streams come from
// their templates, not from the C++ library's binary, which is not instrumented.
#include <bits/c++config.h>
#undef _GLIBCXX_EXTERN_TEMPLATE
#define _GLIBCXX_EXTERN_TEMPLATE 0
