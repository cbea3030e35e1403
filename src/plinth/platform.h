// The platform layer that the library's interface exposes: locks, time,
// files, patterns and thread ids.
#pragma once

#include "plinth/platform/os/os_critical_section.h"
#include "plinth/platform/os/os_error.h"
#include "plinth/platform/os/os_file.h"
#include "plinth/platform/os/os_regexp.h"
#include "plinth/platform/os/os_thread.h"
#include "plinth/platform/os/os_time.h"
#include "plinth/platform/os/os_tokenizer.h"
