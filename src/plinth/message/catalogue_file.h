// The catalogue's message file for tools and the trace: its lines with their
// numbers, its records cut into fields, and why a line is refused, by the
// same rules as the catalogue's load. Pure functions; any thread.
#pragma once

#include <istream>
#include <string>
#include <vector>

#include "plinth/plinth_export.h"

// Skips white space before a line, as the load does, and adds the line
// feeds it passes to lineFeeds.
PLINTH_API void CatalogueSkipSpace(std::istream& in, unsigned& lineFeeds);

// Cuts a record into its fields, the description last (without its closing
// character, with a line feed added). False when the line is no record.
PLINTH_API bool SplitCatalogueRecord(const std::string& line, std::vector<std::string>& fields);

// Why the order line is refused, or empty text when it is a good one.
PLINTH_API std::string CatalogueOrderProblem(const std::string& line);

// Why the load refuses a record, given the nine column numbers of the order
// line, or empty text when it takes it.
PLINTH_API std::string CatalogueRecordProblem(const std::string& line, const int order[9]);
