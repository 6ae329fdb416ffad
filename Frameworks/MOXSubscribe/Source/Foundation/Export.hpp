#pragma once

/// Marks what clients of the shared library may use; everything else stays hidden in it.
#define MOX_EXPORT __attribute__((visibility("default")))
