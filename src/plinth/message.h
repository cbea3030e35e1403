// Numbered messages: the message object and the catalogue of the message file.
#pragma once

#include "plinth/message/message.h"
#include "plinth/message/message_mgr.h"
