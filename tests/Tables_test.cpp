#include "driver/Tables.h"

#include <gtest/gtest.h>
#include <tuple>

#include "lib/TextTable.h"

namespace
{
// Separators for the signs that stand for them, "~" and "|"; "^" makes a false row separator, "`" a false
// field separator.
std::string fTable(std::string_view readable)
{
    std::string table;
    for (const char sign : readable)
        if (sign == '~' || sign == '`')
            table += SEPARATOR_FIELD;
        else if (sign == '|' || sign == '^')
            table += SEPARATOR_ROW;
        else
            table += sign;
    return table;
}

constexpr char TABLE[] =
    "INDEX~PID~ARGS~PCPU~STAT~"
    "|1~7~say \"a,b\"~0.50~S~"
    "|2~80~\x1b[1m\n\xff~-1.00~?~"
    "|3~900~x`y^z`~inf~R~"
    "|4~18446744073709551615~\xc3\xa4-name-of-many-characters-that-is-cut-by-and-by-by-us~-~1~"
    "|velk_token_end";
} // namespace

TEST(Tables, FormsOfOneTable)
{
    const std::tuple<TABLE_FORM, std::string> rows[] = {
        {TABLE_TEXT,
         "INDEX                   PID  ARGS                                               PCPU  STAT\n"
         "    1                     7  say \"a,b\"                                          0.50  S\n"
         "    2                    80  ?[1m?\xff                                            -1.00  ?\n"
         "    3                   900  x??~y??|z??~                                        inf  R\n"
         "    4  18446744073709551615  \xc3\xa4-name-of-many-characters-that-is-cut-by-and-...      -  "
         "1\n\n"},
        {TABLE_CSV,
         fTable("INDEX,PID,ARGS,PCPU,STAT\n"
                "1,7,\"say \"\"a,b\"\"\",0.50,S\n"
                "2,80,\"\x1b[1m\n\xff\",-1.00,?\n"
                "3,900,x`y^z`,inf,R\n"
                "4,18446744073709551615,\xc3\xa4-name-of-many-characters-that-is-cut-by-and-by-by-us,"
                "-,1\n\n")},
        {TABLE_JSON,
         R"({"INDEX":1,"PID":7,"ARGS":"say \"a,b\"","PCPU":0.5,"STAT":"S"})"
         "\n"
         R"({"INDEX":2,"PID":80,"ARGS":"\u001b[1m\n)"
         "\xef\xbf\xbd"
         R"(","PCPU":-1.0,"STAT":"?"})"
         "\n"
         R"({"INDEX":3,"PID":900,"ARGS":"x\u0003\u001f~y\u0003\u001f|z\u0003\u001f~","PCPU":null,"STAT":"R"})"
         "\n"
         R"({"INDEX":4,"PID":18446744073709551615,"ARGS":")"
         "\xc3\xa4-name-of-many-characters-that-is-cut-by-and-by-by-us"
         R"(","PCPU":null,"STAT":"1"})"
         "\n"},
    };
    for (const auto& [form, shown] : rows)
        EXPECT_EQ(fgFormatTable(fTable(TABLE), form), shown);
}

TEST(Tables, RawFormOnlyAddsNewlines)
{
    EXPECT_EQ(fgFormatTable(fTable("A~B~|1~2~|3~4^5~|end"), TABLE_RAW),
              fTable("A~B~\n|1~2~\n|3~4\n^5~\n|end\n"));
    for (const char* odd : {"", "|", "~", "A~", "|1~", "A~|", "A~|1", "A~|1~2~3~|", "ARGS~|", "ARGS~|`^`~~"})
        for (const TABLE_FORM form : {TABLE_TEXT, TABLE_RAW, TABLE_CSV, TABLE_JSON})
            EXPECT_TRUE(("\n" + fgFormatTable(fTable(odd), form)).ends_with('\n')) << odd;
}
