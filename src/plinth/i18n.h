// Internationalisation: byte-wise text, date and time helpers and the small
// text classes.
#pragma once

#include "plinth/i18n/i18n_aux.h"
#include "plinth/i18n/text_classes.h"
