// A login for a command-line tool: a user name and a password read from
// the standard input (a star for each password key on a terminal) or from
// a login file, and a check of the -pf, -U and -P options. For the main
// thread of a tool: these use the process's standard input and output.
// Bad keyboard input is asked again, never returned; only a login file that
// can't be opened fails (0, with perror's line on the error stream).
// Ctrl-C in a password, or the input ending before one was given, ends the
// process with the exit status 1.
#pragma once

#include <string>

#include "plinth/plinth_export.h"

// Reads a user name line; an empty line gives "ocuser", and so does the end
// of the input before any character. Always 1.
PLINTH_API int getUserFromStdin(std::string& user);
// Reads a password, up to the first line end that ends an acceptable one.
// Always 1.
PLINTH_API int getPasswdFromStdin(std::string& password);
// Takes what follows "user=" and "password=" on the file's lines, the last
// such line winning; a missing key gives an empty value. 1, or 0 when the
// file can't be opened.
PLINTH_API int getUsrAndPasswdFromFile(const std::string& path, std::string& user, std::string& password);
// 0 when "-pf" stands on the command line together with "-U" or "-P";
// otherwise 1. Only exact arguments count.
PLINTH_API int dml_check_params_consist(int* argc, char** argv);
