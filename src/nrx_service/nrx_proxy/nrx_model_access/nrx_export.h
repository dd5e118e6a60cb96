#pragma once

/// Marks the symbols that the library exports.
#define NRX_EXPORT __attribute__((visibility("default")))
