#pragma once

#include <optional>
#include <string>
#include <string_view>

// The collectors' text tables (lib/TextTable.h) as the option --tables shows them.

enum TABLE_FORM
{
    TABLE_TEXT, // columns aligned for people, an empty line behind the table
    TABLE_RAW,  // the bytes of the table, and a newline in front of each row separator and at the end
    TABLE_CSV,  // RFC 4180 but for lines that end in a newline alone, an empty line behind the table
    TABLE_JSON  // a line with an object for each row; none for the header
};

// The form of that name; empty for another name.
std::optional<TABLE_FORM> fgFindTableForm(std::string_view name);
std::string fgTableFormNames(); // separated by commas

// A table in that form; each line ends in a newline.
// - A row ends where it has as many fields as the header, so that a process whose name holds a row separator
//   makes no rows of its own. Fields that a name's separators add go to the first text column. A name made to
//   look like whole rows cannot be told from them.
// - What fills no field behind the last row, such as the filesystem table's end, shows in the raw form alone.
// - Text form: a value longer than TABLE_WIDEST characters is cut, control characters are "?".
// - JSON: keys are the header's names in their order. Columns of numbers are numbers, null where a row has
//   none; bytes that are no UTF-8 become U+FFFD.
constexpr size_t TABLE_WIDEST = 48;
std::string fgFormatTable(std::string_view table, TABLE_FORM form);
