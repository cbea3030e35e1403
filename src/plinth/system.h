// System utilities: the library tracer.
#pragma once

#include "plinth/system/tracer.h"
