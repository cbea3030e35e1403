// Diagnostics: the engine, its scopes and formatting objects, its output
// files and the call stacks of threads.
#pragma once

#include "plinth/diag/diagstacks.h"
#include "plinth/diag/format_obj.h"
#include "plinth/diag/levels_file.h"
#include "plinth/diag/tdiag.h"
