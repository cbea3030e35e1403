// Thread identities as plain integers: the kernel's thread ids, as ps -L
// shows them. Any thread may call these; they do not fail.
#pragma once

#include "plinth/plinth_export.h"
#include "plinth/platform/os/os_thread.h"

// The calling thread's id, cached per thread: no system call after the
// thread's first call.
PLINTH_API unsigned GetThisThreadID();
// The id of a thread started by os_thread, from its record.
PLINTH_API unsigned GetThreadID(os_thread_t& thread);
