#pragma once

namespace audio {

/// Priority of every engine message: Android's "info".
inline constexpr int kLogPriorityInfo = 4;

/// Hands one finished message to the platform's log.
///
/// On Android this is `__android_log_write`. Elsewhere the message goes to
/// standard error as "I/<tag>: <text>" and a newline, in one piece even when
/// several threads write at once. Failures to write are ignored.
///
/// @param priority  Android log priority (4 = info)
/// @param tag       zero-terminated tag
/// @param text      zero-terminated message, passed on unchanged
void platformLogWrite(int priority, const char* tag, const char* text) noexcept;

}  // namespace audio
