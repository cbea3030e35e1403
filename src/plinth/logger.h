// The logging framework: the Logger, its destinations and their parameters.
#pragma once

#include "plinth/logger/base_dest.h"
#include "plinth/logger/db_facade.h"
#include "plinth/logger/destination.h"
#include "plinth/logger/file_dest.h"
#include "plinth/logger/logger.h"
#include "plinth/logger/logger_types.h"
#include "plinth/logger/params_holder.h"
