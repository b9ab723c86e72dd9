#pragma once
// The host's side of the library's log. The library writes no file and reads
// no environment variable: lines go to a sink that the host installs with
// Fnx_SetLogSink.
//
// Severity: 1 is an ordinary line of the library, 5 the operator dialogue,
// FNX_TRACE_SEVERITY the entry and exit of a traced scope. A line reaches the
// sink when its severity is at most the level given with the sink.
#include "fnx_export.h"

extern "C" {
// component: null, or "media-request" for a line of the operator dialogue.
typedef void (*FnxLogCallback)(int severity, const char* component, const char* text,
                               void* context);

// Installs the sink (null callback: none). Thread-safe; the callback may be
// called from any thread that uses the library, one call at a time. Once this
// returns, the previous callback is never called again, so its context may go.
// The callback must neither log through the library nor install a sink: it
// runs under the sink's lock and would wait on itself.
FNX_API void Fnx_SetLogSink(int level, FnxLogCallback callback, void* context);
}

inline constexpr int FNX_TRACE_SEVERITY = 9;
