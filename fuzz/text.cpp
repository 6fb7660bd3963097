#include <cstring>
#include <string>
#include <vector>

#include "collect/SSUtil.h"
#include "fuzz/Fuzz.h"
#include "lib/KeyText.h"
#include "lib/NGFunctions.h"
#include "lib/NStringLib.h"
#include "lib/Owners.h"

// Tokenisers, identifiers, typed values and the copies of lines. Two texts have a form feed between.

namespace
{
void fTokens(std::string_view input)
{
    const CFuzzText delimiters(fgFuzzPart(input));
    const CFuzzText text(input);
    const size_t length = text.fView().size();
    char* cursor = text;
    size_t count = 0;
    while (const char* token = Nstrtok(nullptr, delimiters, &cursor)) {
        fgFuzzMust(strpbrk(token, delimiters) == nullptr, "a token holds no delimiter");
        fgFuzzMust(token >= text && token + strlen(token) <= text + length, "a token is part of the text");
        fgFuzzMust(++count <= length + 1, "there are no more tokens than places for them");
    }
}

// The tokens with the separator between give the text again.
void fWords(std::string_view input)
{
    const CFuzzText separator(fgFuzzPart(input));
    const CFuzzText text(input);
    const std::string whole(text.fView());
    std::string joined;
    char* cursor = text;
    for (const char* token = Nstrstrtok(nullptr, separator, &cursor); token != nullptr;) {
        joined += token;
        token = Nstrstrtok(nullptr, separator, &cursor);
        if (token != nullptr) joined += separator.fView();
    }
    fgFuzzMust(joined == whole, "the tokens are the text");
}

void fIdentifiers(std::string_view input)
{
    const CFuzzText left(fgFuzzPart(input));
    const CFuzzText right(input);
    fgFuzzMust(NOidCmp(left, left) == 0, "an identifier is its own equal");
    fgFuzzMust(NOidCmp(left, right) == -NOidCmp(right, left), "the order has two directions");
}

// The first byte is the type, the second the length; the value goes to text and back.
void fValues(std::string_view input)
{
    if (input.size() < 2) return;
    const auto type = static_cast<unsigned char>(input[0]);
    const int length = static_cast<unsigned char>(input[1]);
    const CFuzzText text(input.substr(2));
    void* block = nullptr;
    NValueAtoV(text, &block, type, length);
    const std::unique_ptr<void, CFreeDeleter> value(block);
    char* shown = static_cast<char*>(calloc(VALUE_TEXT_SIZE, 1));
    const char* result = NValueVtoA(block, &shown, type, block == nullptr ? 0 : length);
    const COwnedText owner(shown);
    fgFuzzMust(result == nullptr || strlen(result) <= 255, "a text of a value is terminated");
}

void fSmall(std::string_view input)
{
    const CFuzzText text(input);
    const bool isNumber = text.fView().find_first_not_of("+-0123456789") == std::string_view::npos;
    fgFuzzMust(Nisdigit(text) == 0 || isNumber, "a number has digits and signs alone");
    fgFuzzMust(ELFHash(text) <= 0x7FFFFFFF, "a hash has 31 bits");
    fgFuzzMust(strlen(NCutQmark(text)) <= input.size(), "a word is part of the text");
    unsigned long values[3];
    fgFindNumbers(text, "key ", values, 0);
}

void fLines(std::string_view input)
{
    CSSUtil util;
    const CFuzzText text(input);
    char* cursor = text;
    const auto line = std::make_unique<char[]>(16);
    while (const int taken = util.fBuff2Line(&cursor, line.get(), 16))
        fgFuzzMust(static_cast<size_t>(taken) == strlen(line.get()) + 1, "what was taken is the line");
    fgFuzzMust(*cursor == '\n' || *cursor == '\0', "only an empty line ends the loop");
    const auto copy = std::make_unique<char[]>(17); // a text as long as the size is copied whole
    fgFuzzMust(util.fStr2Str(copy.get(), text, 16) == static_cast<int>(strlen(copy.get())), "a copy ends");
    util.fSkipToken(text);
}

constexpr FUZZ_READER READERS[] = {fTokens, fWords, fIdentifiers, fValues, fSmall, fLines};
const CFuzzTarget TARGET("text", [](std::string_view input) { fgFuzzDispatch(READERS, input); });
} // namespace
