#include "driver/Tables.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <nlohmann/json.hpp>
#include <vector>

#include "lib/TextTable.h"

namespace
{
using CFields = std::vector<std::string_view>;

constexpr size_t SEPARATOR_LENGTH = sizeof(SEPARATOR_FIELD) - 1;
constexpr std::string_view CUT_MARK = "...";

// The columns that hold text, of all tables; every other holds numbers.
constexpr std::string_view TEXT_COLUMNS[] = {"ARGS",   "DISKNAME", "FNAME", "FSNAME",
                                             "FSTYPE", "NAME",     "STAT",  "USER"};

bool fIsText(std::string_view name)
{
    return std::ranges::find(TEXT_COLUMNS, name) != std::end(TEXT_COLUMNS);
}

// A table taken apart; the fields are within its text.
struct ST_TABLE_PARTS
{
    CFields l_clNames;
    std::vector<CFields> l_clRows;
};

CFields fSplitFields(std::string_view text)
{
    CFields fields;
    for (size_t end; (end = text.find(SEPARATOR_FIELD)) != text.npos;
         text.remove_prefix(end + SEPARATOR_LENGTH))
        fields.push_back(text.substr(0, end));
    return fields;
}

// Makes one of the first text column and the surplus fields behind it.
void fFoldSurplus(CFields& row, const CFields& names)
{
    if (row.size() <= names.size()) return;
    const auto column = std::ranges::find_if(names, fIsText) - names.begin();
    const auto surplus = static_cast<std::ptrdiff_t>(row.size() - names.size());
    if (column + surplus >= static_cast<std::ptrdiff_t>(row.size())) return; // a table without a text column
    const auto first = row.begin() + column;
    const std::string_view last = first[surplus];
    const char* const begin = first->data();
    *first = {begin, static_cast<size_t>(last.data() + last.size() - begin)};
    row.erase(first + 1, first + 1 + surplus);
}

ST_TABLE_PARTS fTakeApart(std::string_view table)
{
    size_t at = table.find(SEPARATOR_ROW);
    ST_TABLE_PARTS parts{fSplitFields(table.substr(0, at)), {}};
    while (at != table.npos) {
        const size_t begin = at + SEPARATOR_LENGTH;
        CFields row;
        do {
            at = table.find(SEPARATOR_ROW, at + SEPARATOR_LENGTH);
            row = fSplitFields(table.substr(begin, at == table.npos ? at : at - begin));
        } while (at != table.npos && row.size() < parts.l_clNames.size());
        fFoldSurplus(row, parts.l_clNames);
        if (!row.empty()) parts.l_clRows.push_back(std::move(row));
    }
    return parts;
}

bool fBeginsCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

size_t fWidth(std::string_view text)
{
    return static_cast<size_t>(std::ranges::count_if(text, fBeginsCharacter));
}

// The bytes of the first so many characters.
std::string_view fHead(std::string_view text, size_t characters)
{
    size_t end = 0;
    while (end < text.size() && (!fBeginsCharacter(text[end]) || characters-- > 0))
        end++;
    return text.substr(0, end);
}

std::string fPrintable(std::string_view value)
{
    std::string text(value);
    if (fWidth(value) > TABLE_WIDEST)
        text = std::string(fHead(value, TABLE_WIDEST - CUT_MARK.size())).append(CUT_MARK);
    std::ranges::replace_if(
        text, [](unsigned char byte) { return iscntrl(byte) != 0; }, '?');
    return text;
}

std::string fFormatText(const ST_TABLE_PARTS& parts)
{
    std::vector<std::vector<std::string>> lines;
    std::vector<size_t> widths(parts.l_clNames.size());
    const auto add = [&](const CFields& fields) {
        std::vector<std::string>& line = lines.emplace_back();
        for (size_t column = 0; column < std::min(fields.size(), widths.size()); column++) {
            line.push_back(fPrintable(fields[column]));
            widths[column] = std::max(widths[column], fWidth(line.back()));
        }
    };
    add(parts.l_clNames);
    std::ranges::for_each(parts.l_clRows, add);

    std::string text;
    for (const std::vector<std::string>& line : lines) {
        for (size_t column = 0; column < line.size(); column++) {
            const std::string blanks(widths[column] - fWidth(line[column]), ' ');
            const bool left = fIsText(parts.l_clNames[column]);
            text.append(column == 0 ? "" : "  ").append(left ? "" : blanks).append(line[column]);
            if (left && column + 1 < line.size()) text.append(blanks);
        }
        text.push_back('\n');
    }
    return text.append("\n");
}

std::string fFormatRaw(std::string_view table)
{
    std::string text;
    for (size_t end; (end = table.find(SEPARATOR_ROW, 1)) != table.npos; table.remove_prefix(end))
        text.append(table.substr(0, end)).push_back('\n');
    return text.append(table).append("\n");
}

void fAppendCsv(std::string& text, const CFields& fields)
{
    for (size_t column = 0; column < fields.size(); column++) {
        if (column > 0) text.push_back(',');
        if (fields[column].find_first_of(",\"\r\n") == std::string_view::npos) {
            text.append(fields[column]);
            continue;
        }
        text.push_back('"');
        for (const char character : fields[column])
            text.append(character == '"' ? 2 : 1, character);
        text.push_back('"');
    }
    text.push_back('\n');
}

std::string fFormatCsv(const ST_TABLE_PARTS& parts)
{
    std::string text;
    fAppendCsv(text, parts.l_clNames);
    for (const CFields& row : parts.l_clRows)
        fAppendCsv(text, row);
    return text.append("\n");
}

// What JSON writes as a number; null for anything else, such as "-" or "inf".
nlohmann::ordered_json fNumber(std::string_view value)
{
    nlohmann::ordered_json number;
    if (value.find_first_not_of("0123456789.-") == value.npos)
        number = nlohmann::ordered_json::parse(value, nullptr, false);
    return number.is_number() ? number : nlohmann::ordered_json();
}

std::string fFormatJson(const ST_TABLE_PARTS& parts)
{
    std::string text;
    for (const CFields& row : parts.l_clRows) {
        nlohmann::ordered_json object;
        for (size_t column = 0; column < std::min(row.size(), parts.l_clNames.size()); column++) {
            const std::string_view name = parts.l_clNames[column];
            object[std::string(name)] =
                fIsText(name) ? nlohmann::ordered_json(row[column]) : fNumber(row[column]);
        }
        text.append(object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
        text.push_back('\n');
    }
    return text;
}

constexpr std::array<std::string_view, 4> FORM_NAMES = {"text", "raw", "csv", "json"}; // by TABLE_FORM
} // namespace

std::optional<TABLE_FORM> fgFindTableForm(std::string_view name)
{
    const auto found = std::ranges::find(FORM_NAMES, name);
    if (found == FORM_NAMES.end()) return std::nullopt;
    return static_cast<TABLE_FORM>(found - FORM_NAMES.begin());
}

std::string fgTableFormNames()
{
    std::string names;
    for (const std::string_view name : FORM_NAMES)
        names.append(names.empty() ? "" : ",").append(name);
    return names;
}

std::string fgFormatTable(std::string_view table, TABLE_FORM form)
{
    switch (form) {
    case TABLE_RAW:
        return fFormatRaw(table);
    case TABLE_CSV:
        return fFormatCsv(fTakeApart(table));
    case TABLE_JSON:
        return fFormatJson(fTakeApart(table));
    default:
        return fFormatText(fTakeApart(table));
    }
}
