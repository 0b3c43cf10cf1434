// Stands in for the C library's feature tests, which the C++ library's configuration asks.
#pragma once

#define __GLIBC_PREREQ(major, minor) 0
