// Error types: the exceptions the library throws for its own failures, and
// the crash handler.
#pragma once

#include "plinth/errors/qln_error.h"
#include "plinth/errors/oc_exception_report.h"
