#pragma once

/// Marks what the library exports; everything else stays inside.
#define NRX_EXPORT __attribute__((visibility("default")))

/// Keeps a member of an exported class inside.
#define NRX_INTERNAL __attribute__((visibility("hidden")))
