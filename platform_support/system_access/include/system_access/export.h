// Symbol visibility of libsystem_access: only what is marked here is exported.
#pragma once

#define SYSTEM_ACCESS_EXPORT __attribute__((visibility("default")))
