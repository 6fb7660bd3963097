#include "driver/Tables.h"

#include "lib/TextTable.h"
#include "tests/TestSupport.h"

TEST(Tables, FormsOfOneTable)
{
    const auto file = [](const std::string& name) {
        return fgReadFile(HOSTMETRICS_FIXTURES "/forms/" + name);
    };
    for (const char* form : {"text", "raw", "csv", "json"})
        EXPECT_EQ(fgFormatTable(file("table"), *fgFindTableForm(form)), file(form));
}

TEST(Tables, NoTextIsOutOfBounds)
{
    const std::string cell = SEPARATOR_FIELD, row = SEPARATOR_ROW;
    for (const std::string& odd : {std::string(), row, cell, "A" + cell, row + "1" + cell, "A" + cell + row,
                                   "A" + cell + row + "1", "A" + cell + row + "1" + cell + "2" + cell + row,
                                   "ARGS" + cell + row, "ARGS" + cell + row + cell + row + cell + cell})
        for (const TABLE_FORM form : {TABLE_TEXT, TABLE_RAW, TABLE_CSV, TABLE_JSON})
            EXPECT_TRUE(("\n" + fgFormatTable(odd, form)).ends_with('\n')) << odd;
}
