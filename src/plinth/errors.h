// Error types: the exceptions the library throws for its own failures.
#pragma once

#include "plinth/errors/qln_error.h"
