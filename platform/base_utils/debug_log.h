#pragma once

#include <cstddef>
#include <cstdint>

/// With this record a log statement asks the platform whether a line may be written. The caller makes and owns a new
/// record for each check. The check may write the last two fields.
struct __attribute__((visibility("default"))) DebugLevelRecord {
    std::uint32_t levelCode;  ///< Module code in the upper 16 bits, severity in the lower 16.
    std::uint32_t frame;      ///< For the platform's use; initially 0.
    std::uint32_t chunk;      ///< For the platform's use; initially 0.
};

static_assert(offsetof(DebugLevelRecord, levelCode) == 0);
static_assert(offsetof(DebugLevelRecord, frame) == 4);
static_assert(offsetof(DebugLevelRecord, chunk) == 8);
static_assert(sizeof(DebugLevelRecord) == 12);

/// Returns nonzero if a line of the record's level is to be written now. All operations of this header may be called
/// from several threads at once.
__attribute__((visibility("default"))) int debugCheckLevel(DebugLevelRecord* record);

/// Writes one diagnostic line, printf style. The format ends with a line feed. Called after a check that admitted the
/// line, on the same thread. Reports no failure.
__attribute__((visibility("default"), format(printf, 1, 2))) void debugOutput(char const* format, ...);

/// Returns a pointer into `path`: to the text after the last '/'.
__attribute__((visibility("default"))) char const* sourceBaseName(char const* path);
