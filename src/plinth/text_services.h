// The small text services of the configuration area: name-value pairs and
// login parameters.
#pragma once

#include "plinth/config/login_params.h"
#include "plinth/config/nv_strings.h"
