// The C++ library was configured for a host with threads; firmware has none.
#pragma once

#include_next <bits/c++config.h>

#undef _GLIBCXX_HAS_GTHREADS
