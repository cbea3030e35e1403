// System utilities: the library tracer, the reader-writer semaphore,
// run-time libraries, unique keys, thread ids and datagrams.
#pragma once

#include "plinth/system/dynamic_library.h"
#include "plinth/system/read_write_semaphore2.h"
#include "plinth/system/thread_id.h"
#include "plinth/system/tracer.h"
#include "plinth/system/unique_key.h"
#include "plinth/system/udp.h"
