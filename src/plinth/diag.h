// Diagnostics: the engine, its scopes and formatting objects, its output
// files, the call stacks of threads, the control surface and its viewer's
// control messages.
#pragma once

#include "plinth/diag/diag_action.h"
#include "plinth/diag/diag_control.h"
#include "plinth/diag/diagstacks.h"
#include "plinth/diag/format_obj.h"
#include "plinth/diag/levels_file.h"
#include "plinth/diag/tdiag.h"
