// Configuration and text: INI files, the variable resolver, name-value
// pairs, login parameters and the version registry.
#pragma once

#include "plinth/config/auto_edit_string.h"
#include "plinth/config/ini.h"
#include "plinth/config/login_params.h"
#include "plinth/config/nv_strings.h"
#include "plinth/config/version_registry.h"
