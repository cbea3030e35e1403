// Numbered messages: the message object, the catalogue of the message file,
// and the asynchronous message logger.
#pragma once

#include "plinth/message/catalogue_file.h"
#include "plinth/message/message.h"
#include "plinth/message/message_mgr.h"
#include "plinth/message/msg_logger.h"
