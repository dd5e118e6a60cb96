#pragma once

#include <cstddef>
#include <cstdint>

/// What a log statement asks the platform to admit. The caller owns it, fresh for each check; the check may write the
/// last two words.
struct __attribute__((visibility("default"))) DebugLevelRecord {
    std::uint32_t levelCode;  ///< Module code in the upper 16 bits, severity in the lower 16.
    std::uint32_t frame;      ///< The platform's own; 0 at first.
    std::uint32_t chunk;      ///< Likewise.
};

static_assert(offsetof(DebugLevelRecord, levelCode) == 0);
static_assert(offsetof(DebugLevelRecord, frame) == 4);
static_assert(offsetof(DebugLevelRecord, chunk) == 8);
static_assert(sizeof(DebugLevelRecord) == 12);

/// Nonzero when a line at the record's level is to be written now. Safe to call from several threads at once, as are
/// the two operations below.
__attribute__((visibility("default"))) int debugCheckLevel(DebugLevelRecord* record);

/// Writes one diagnostic line, printf style; the format ends in its own line feed. Called after a check that admitted
/// it, on the same thread. Reports no failure.
__attribute__((visibility("default"), format(printf, 1, 2))) void debugOutput(char const* format, ...);

/// The text of `path` after its last '/': a pointer into `path`.
__attribute__((visibility("default"))) char const* sourceBaseName(char const* path);
