// The whole public interface of plinth: one include per area.
#pragma once

#include "plinth/platform.h"
#include "plinth/errors.h"
#include "plinth/i18n.h"
#include "plinth/config.h"
#include "plinth/logger.h"
#include "plinth/message.h"
#include "plinth/diag.h"
#include "plinth/system.h"
