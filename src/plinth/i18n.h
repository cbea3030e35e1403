// Internationalisation: byte-wise text, date and time helpers, the small
// text classes, the text mode, the converter between encodings, regular
// expressions and wildcards, the UTF-8 string, encoding-aware streams and
// environment access.
#pragma once

#include "plinth/i18n/i18n_aux.h"
#include "plinth/i18n/text_classes.h"
#include "plinth/i18n/unicode_configuration.h"
#include "plinth/i18n/unicode_converter.h"
#include "plinth/i18n/regexp.h"
#include "plinth/i18n/environment.h"
#include "plinth/i18n/file_streams.h"
#include "plinth/i18n/streambuf_helper.h"
#include "plinth/i18n/utf8_string.h"
