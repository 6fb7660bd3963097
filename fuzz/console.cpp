#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "driver/Options.h"
#include "driver/Tables.h"
#include "driver/TestLib.h"
#include "fuzz/Fuzz.h"

// The console program: the forms of its tables, and its command line.

namespace
{
size_t fCount(std::string_view text, char character)
{
    return static_cast<size_t>(std::count(text.begin(), text.end(), character));
}

std::string fJoined(std::string text)
{
    std::erase(text, '\n');
    return text;
}

// Lines that end outside quotes.
size_t fCsvLines(std::string_view csv)
{
    size_t lines = 0;
    bool quoted = false;
    for (const char character : csv) {
        if (character == '"') quoted = !quoted;
        if (character == '\n' && !quoted) lines++;
    }
    return lines;
}

// Every form but the raw one has a line of each row; text and csv one more of the header and an empty one.
void fTable(std::string_view input)
{
    const std::string table(input);
    fgFuzzMust(fJoined(fgFormatTable(table, TABLE_RAW)) == fJoined(table), "newlines are all that is added");
    const std::string json = fgFormatTable(table, TABLE_JSON);
    const size_t rows = fCount(json, '\n');
    for (std::string_view rest(json); !rest.empty(); rest.remove_prefix(rest.find('\n') + 1))
        fgFuzzMust(nlohmann::json::accept(rest.substr(0, rest.find('\n'))), "a line is JSON");
    fgFuzzMust(fCount(fgFormatTable(table, TABLE_TEXT), '\n') == rows + 2, "a row has a line");
    fgFuzzMust(fCsvLines(fgFormatTable(table, TABLE_CSV)) == rows + 2, "a row has a record");
}

// The arguments have form feeds between. What they ask for is not put into effect.
void fOptions(std::string_view input)
{
    std::vector<CFuzzText> texts;
    texts.emplace_back("hostmetrics");
    while (!input.empty())
        texts.emplace_back(fgFuzzPart(input));
    const std::vector<const char*> arguments(texts.begin(), texts.end());
    ST_OPTIONS options;
    fgReadOptions(static_cast<int>(arguments.size()), arguments.data(), options);
    for (const auto& [name, value] : options.l_stSettings)
        fgFuzzMust(!name.empty(), "a setting has a name");
    fgSelectPrints(options.l_strPrint.c_str());
}

constexpr FUZZ_READER READERS[] = {fTable, fOptions};
const CFuzzTarget TARGET("console", [](std::string_view input) { fgFuzzDispatch(READERS, input); });
} // namespace
