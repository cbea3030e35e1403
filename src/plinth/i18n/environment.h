// WEnv: process environment variables with names and values in the
// program's text form. The L forms speak the local encoding, the U forms
// UTF-8 (in Unicode mode) through the wide view of the environment, and the
// plain forms choose by the mode at each call. No lock: set variables at the
// start of the process or from one thread. Reads report by EnvStatus, puts
// by their result (0 is success), clears not at all; conversions pass on
// what Osl_UnicodeConverter throws.
#pragma once

#include <list>
#include <string>
#include <utility>
#include <vector>

#include "plinth/plinth_export.h"

enum EnvStatus {
  ENV_OK = 0,        // set, with a value
  ENV_NOT_SET = 1,   // not set
  ENV_NO_VALUE = 2,  // set to the empty string
};

class PLINTH_API WEnv {
public:
  WEnv& operator=(WEnv const&) { return *this; }

  // value is emptied whatever the outcome.
  static EnvStatus WGetEnv(std::string const& name, std::string& value);
  static EnvStatus WGetEnvL(std::string const& name, std::string& value);
  static EnvStatus WGetEnvU(std::string const& name, std::string& value);

  // Sets name to value (the empty value included) and gives 0, or -1 when
  // the environment refused it (an empty name). The text is split at its
  // first "=", so a name holding "=" sets the part in front of it. A text
  // that was accepted stays valid for the life of the process.
  static int WPutEnv(std::string const& name, std::string const& value);
  static int WPutEnvL(std::string const& name, std::string const& value);
  static int WPutEnvU(std::string const& name, std::string const& value);

  // Removes the variable.
  static void WClearEnv(std::string const& name);
  static void WClearEnvL(std::string const& name);
  static void WClearEnvU(std::string const& name);

  // Appends every variable as (name, value), split at the first "=", in the
  // environment's order; list isn't emptied first.
  static void WGetEnvList(std::vector<std::pair<std::string, std::string>>& list);
  static void WGetEnvListL(std::vector<std::pair<std::string, std::string>>& list);
  static void WGetEnvListU(std::vector<std::pair<std::string, std::string>>& list);

private:
  // Every accepted NAME=VALUE text. Neither the texts nor the lists are
  // ever freed, so the environment's pointers stay valid to the very end.
  static std::list<std::string*>& m_EnvVar;
  static std::list<std::wstring*>& m_WEnvVar;
};
