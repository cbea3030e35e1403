// Numbered messages: the asynchronous message logger.
#pragma once

#include "plinth/message/msg_logger.h"
