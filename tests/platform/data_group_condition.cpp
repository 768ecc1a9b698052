#include "platform/data/group_condition.h"

#include <gtest/gtest.h>

namespace corveth::data {
namespace {

Text moved(TextView sql) {
    auto tokens = tokenize(sql);
    moveGroupCondition(tokens);
    Text text;
    for (const Token& token : tokens)
        text.append(text.empty() ? "" : " ").append(token.raw);
    return text;
}

TEST(GroupCondition, OnTheGroupsOwnColumnBecomesOneOnTheRows) {
    const struct {
        const char *given, *expected;
    } rows[] = {
        {"Select A , Sum ( B ) From T Group By A Having A = 'x'",
         "Select A , Sum ( B ) From T Where A = 'x' Group By A"},
        {"select sum ( t . b ) as b from t GROUP BY t . A HAVING ( T . [a] = ? )",
         "select sum ( t . b ) as b from t Where T . [a] = ? GROUP BY t . A"},
        {"Select Max ( B ) From T Inner Join U On T . Id = U . Id Group By U . A Having U . A = 5",
         "Select Max ( B ) From T Inner Join U On T . Id = U . Id Where U . A = 5 Group By U . A"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(moved(row.given), row.expected);
}

TEST(GroupCondition, AnyOtherStaysWhereItIs) {
    for (const char* const sql : {
             "",
             "Group By A Having A = 1",
             "Select A From T Group By A",
             "Select A From T Group By A Having",
             "Select A From T Group",
             "Select A From T Having A = 1 Group By A",
             "Select A From T Group By A Having B = 1",
             "Select A From T Group By T . A Having U . A = 1",
             "Select A From T Group By T . A Having A = 1",
             "Select A From T Group By A , B Having A = 1",
             "Select A From T Group By A Having A = B",
             "Select A From T Group By A Having A > 1",
             "Select A From T Group By A Having Sum ( B ) = 1",
             "Select A From T Group By A Having A = 1 Or B = 2",
             "Select A From T Group By A Having ( A = 1 ) Or ( B = 2 )",
             "Select A From T Group By A Having A = 1 Order By A",
             "Select A From T Group By Lower ( A ) Having Lower ( A ) = 'x'",
             "Select A From T Where B = 2 Group By A Having A = 1",
             "Select A From T Union Select A From U Group By A Having A = 1",
             "Select A From ( Select A From U ) Group By A Having A = 1",
             "Delete From T Group By A Having A = 1",
         }) {
        EXPECT_EQ(moved(sql), sql);
    }
}

} // namespace
} // namespace corveth::data
