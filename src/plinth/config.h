// Configuration and text: INI files and the variable resolver.
#pragma once

#include "plinth/config/auto_edit_string.h"
#include "plinth/config/ini.h"
