// The first include of every public header. A compiler for C would report each line that it does
// not understand; a missing file is the one error after which it stops.
#pragma once

#ifndef __cplusplus
#include "zrpclient is a C++20 library: compile this file as C++"
#endif
