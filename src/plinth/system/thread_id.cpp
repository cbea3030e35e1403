#include "plinth/system/thread_id.h"

unsigned GetThisThreadID() { return os_this_thread::id(); }

unsigned GetThreadID(os_thread_t& thread) { return thread.m_nId; }
