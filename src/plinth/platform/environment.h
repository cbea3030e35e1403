// The process environment as bytes: the calls behind WEnv. No lock: the
// environment is not safe against concurrent change, so callers set
// variables from one thread. Failures are results, nothing throws.
#pragma once

namespace plinth::platform {
// The value, or null when the variable isn't set.
char const* env_get(char const* name);
// Puts a NAME=VALUE text into the environment, which keeps the pointer: the
// text must outlive its use there. 0 on success, -1 for a text without "="
// or with an empty name, or when the system refuses it.
int env_put(char* text);
// Removes the variable; a name that isn't set is no error.
void env_remove(char const* name);
// The NAME=VALUE texts, ended by null.
char** env_table();
}  // namespace plinth::platform
