// Internationalisation: byte-wise text, date and time helpers, the small
// text classes, the text mode, the converter between encodings, regular
// expressions and wildcards.
#pragma once

#include "plinth/i18n/i18n_aux.h"
#include "plinth/i18n/text_classes.h"
#include "plinth/i18n/unicode_configuration.h"
#include "plinth/i18n/unicode_converter.h"
#include "plinth/i18n/regexp.h"
