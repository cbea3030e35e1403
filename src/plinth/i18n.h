// Internationalisation: byte-wise text, date and time helpers and the small
// text classes.
#pragma once

#include "plinth/i18n/i18n_aux.h"
#include "plinth/i18n/text_classes.h"
#include "plinth/i18n/environment.h"
#include "plinth/i18n/file_streams.h"
#include "plinth/i18n/streambuf_helper.h"
#include "plinth/i18n/utf8_string.h"
