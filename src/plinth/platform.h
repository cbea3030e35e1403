// The platform layer that the library's interface exposes: locks, threads,
// time, files, patterns, run-time loading and the library's wide strings.
#pragma once

#include "plinth/platform/library.h"
#include "plinth/platform/os/os_critical_section.h"
#include "plinth/platform/os/os_error.h"
#include "plinth/platform/os/os_file.h"
#include "plinth/platform/os/os_mutex.h"
#include "plinth/platform/os/os_path.h"
#include "plinth/platform/os/os_regexp.h"
#include "plinth/platform/os/os_thread.h"
#include "plinth/platform/os/os_time.h"
#include "plinth/platform/os/os_tokenizer.h"
#include "plinth/platform/os/os_udp_socket.h"
#include "plinth/platform/sys_string.h"
