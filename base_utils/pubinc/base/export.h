// Symbol visibility of the base utilities' shared library.
#pragma once

#define BASE_UTILS_EXPORT __attribute__((visibility("default")))
