#include "platform/automation/convert.h"

#include "platform/outcome.h"

#include <bit>
#include <cmath>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <limits>
#include <random>

using namespace corveth;
using corveth::test::errorOf;
using corveth::test::outcome;

namespace {

using namespace std::string_literals;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

TEST(Convert, WholeNumbersRoundHalfToEvenAndAreChecked) {
    struct Row {
        Value given;
        const char *byte, *integer, *longInteger; ///< a number, or the number of the error after "!"
    };
    const Row rows[] = {
        {0.5, "0", "0", "0"},
        {1.5, "2", "2", "2"},
        {2.5, "2", "2", "2"},
        {-0.5, "0", "0", "0"},
        {-2.5, "!6", "-2", "-2"},
        {2.5000000000000004, "3", "3", "3"},
        {0.49999999999999994, "0", "0", "0"},
        {254.5, "254", "254", "254"},
        {255.5, "!6", "256", "256"},
        {32767.4, "!6", "32767", "32767"},
        {32767.5, "!6", "!6", "32768"},
        {-32768.5, "!6", "-32768", "-32768"},
        {2147483647.4, "!6", "!6", "2147483647"},
        {2147483647.5, "!6", "!6", "!6"},
        {-2147483648.5, "!6", "!6", "-2147483648"},
        {-2147483649.0, "!6", "!6", "!6"},
        {1e300, "!6", "!6", "!6"},
        {infinity, "!6", "!6", "!6"},
        {notANumber, "!6", "!6", "!6"},
        {2.5F, "2", "2", "2"},
        {Currency{25000}, "2", "2", "2"},
        {Currency{25001}, "3", "3", "3"},
        {Date{100.5}, "100", "100", "100"},
        {"2.5", "2", "2", "2"},
        {"1e999", "!6", "!6", "!6"},
        {std::int16_t{-1}, "!6", "-1", "-1"},
        {std::int32_t{70000}, "!6", "!6", "70000"},
        {true, "255", "-1", "-1"},
        {Value(), "0", "0", "0"},
        {Missing{}, "0", "0", "0"},
        {Null{}, "!94", "!94", "!94"},
        {"True", "!13", "!13", "!13"},
        {Bytes(2), "!13", "!13", "!13"},
        {Ref<Object>(), "!13", "!13", "!13"},
        {Record{}, "!13", "!13", "!13"},
    };
    const auto text = [](auto convert, const Value& given) -> Text {
        try {
            return fmt::format("{}", convert(given));
        } catch (const Error& error) {
            return fmt::format("!{}", error.number);
        }
    };
    for (const Row& row : rows) {
        const Text name = row.given.is(ValueType::text) ? *row.given.getIf<Text>() : Text(typeName(row.given));
        EXPECT_EQ(text(toByte, row.given), row.byte) << name << " to Byte";
        EXPECT_EQ(text(toInteger, row.given), row.integer) << name << " to Integer";
        EXPECT_EQ(text(toLong, row.given), row.longInteger) << name << " to Long";
    }
}

TEST(Convert, RoundHalfEvenHoldsAtTheEdgesOf64Bits) {
    constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
    constexpr auto highest = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(errorOf([] { return roundHalfEven(9223372036854775808.0, lowest, highest); }), errors::overflow);
    EXPECT_EQ(roundHalfEven(9223372036854774784.0, lowest, highest), 9223372036854774784);
    EXPECT_EQ(roundHalfEven(4503599627370497.5, lowest, highest), 4503599627370498);
}

TEST(Convert, NumberText) {
    struct Row {
        Text given;
        double expected;
    };
    const Row rows[] = {
        {"0", 0},
        {" 12 ", 12},
        {"-12.5", -12.5},
        {"+.5", .5},
        {"5.", 5},
        {"- 5", -5},
        {"1e3", 1000},
        {"1.5D-2", .015},
        {"1,234.5", 1234.5},
        {"1,234,567", 1234567},
        {"$1,000", 1000},
        {"-$5", -5},
        {"$-5", -5},
        {"(5)", -5},
        {"( $5.25 )", -5.25},
        {"&HfF", 255},
        {"&O17", 15},
        {"&HFFFFFFFFFFFFFFFF", 18446744073709551615.0},
        {"&H1FFFFFFFFFFFFFFFFF", infinity},
        {"1e400", infinity},
        {"-1e99999999999999999999", -infinity},
        {"1e-400", 0},
        {"1e-99999999999999999999", 0},
        {"0e99999", 0},
        {"5e-324", 5e-324},
        {"1.7976931348623157e308", 1.7976931348623157e308},
        {"0." + Text(400, '0') + "1e401", 1},
        {"1" + Text(400, '0') + "e-400", 1},
        // The middle between two doubles decides by a digit far behind.
        {fmt::format("9007199254740993.{:0>900}", ""), 9007199254740992.0},
        {fmt::format("9007199254740993.{:0>900}1", ""), 9007199254740994.0},
    };
    for (const Row& row : rows) {
        double number = 0;
        EXPECT_TRUE(parseNumber(row.given, number)) << inQuotes(row.given);
        EXPECT_EQ(number, row.expected) << inQuotes(row.given);
        EXPECT_EQ(isNumeric(row.given), std::isfinite(number)) << inQuotes(row.given);
    }
    const Text refused[] = {"",     " ",    ".",     "-",   "$",       "()",       "(",    "(5",      "5)",
                            "(-5)", "--5",  "$$5",   "1,5", "1,2345",  "1234,567", ",123", "1.234,5", "1.2.3",
                            "1e",   "1e+",  "1e5.5", "1 2", "45 Help", "&H",       "&HG",  "&H-1",    "&O8",
                            "&",    "0x10", "inf",   "nan", "True",    "1\0"s,     "\0"s,  "١",       "1\t"};
    for (const Text& text : refused) {
        double number = 0;
        EXPECT_FALSE(parseNumber(text, number)) << inQuotes(text) << " read as " << number;
        EXPECT_FALSE(isNumeric(text)) << inQuotes(text);
    }
}

TEST(Convert, IsNumericOfOtherTypes) {
    for (const Value& number : {Value(), Value(true), Value(1.5), Value(Currency{1}), Value(std::uint8_t{1})})
        EXPECT_TRUE(isNumeric(number)) << typeName(number);
    for (const Value& other :
         {Value(Null{}), Value(Date{1}), Value(Missing{}), Value(Ref<Object>()), Value(Bytes(1)), Value(Record{})})
        EXPECT_FALSE(isNumeric(other)) << typeName(other);
}

TEST(Convert, NumbersAsText) {
    struct Row {
        Value given;
        const char* expected;
    };
    const Row rows[] = {
        {0.0, "0"},
        {-0.0, "0"},
        {-0.0F, "0"},
        {1.0 / 30, "3.33333333333333E-02"},
        {0.1 + 0.2, "0.3"},
        {-1.5, "-1.5"},
        {0.000001, "0.000001"},
        {1e-15, "0.000000000000001"},
        {1e-16, "1E-16"},
        {123456789012345.0, "123456789012345"},
        {999999999999999.0, "999999999999999"},
        {999999999999999.9, "1E+15"},
        {1e15, "1E+15"},
        {-1.25e100, "-1.25E+100"},
        {1.7976931348623157e308, "1.79769313486232E+308"},
        {39128.5006944444, "39128.5006944444"},
        {66.66667F, "66.66667"},
        {0.1F, "0.1"},
        {9999999.0F, "9999999"},
        {1e7F, "1E+07"},
        {0.0333333F, "0.0333333"},
        {0.03333333F, "3.333333E-02"},
        {std::uint8_t{7}, "7"},
        {std::int16_t{-32768}, "-32768"},
        {std::numeric_limits<std::int32_t>::min(), "-2147483648"},
        {true, "True"},
        {false, "False"},
        {Currency{-5000}, "-0.5"},
        {Date{2}, "1900-01-01"},
        {Value(), ""},
        {Missing{}, ""},
        {"as it is", "as it is"},
        {infinity, "error 6: Overflow: a number that is not finite"},
        {notANumber, "error 6: Overflow: a number that is not finite"},
        {Null{}, "error 94: Invalid use of Null"},
        {Bytes(1), "error 13: Type mismatch: Byte() as String"},
        {Ref<Object>(), "error 13: Type mismatch: Nothing as String"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(outcome([&] { return toText(row.given); }), row.expected);
}

TEST(Convert, BooleanOf) {
    struct Row {
        Value given;
        const char* expected;
    };
    const Row rows[] = {
        {"tRUE", "True"},
        {" False ", "False"},
        {"0.0", "False"},
        {"-3", "True"},
        {0.1, "True"},
        {-0.0, "False"},
        {std::int32_t{65536}, "True"},
        {Currency{1}, "True"},
        {Date{0}, "False"},
        {Value(), "False"},
        {"", "error 13: Type mismatch: \"\""},
        {"yes", "error 13: Type mismatch: \"yes\""},
        {"true\0"s, R"(error 13: Type mismatch: "true\x00")"},
        {notANumber, "error 6: Overflow: Double as Boolean"},
        {Null{}, "error 94: Invalid use of Null"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(outcome([&] { return toBoolean(row.given); }), row.expected);
}

TEST(Convert, SingleAndDoubleOf) {
    struct Row {
        const char* name;
        Value given;
        const char *single, *doubleFloat;
    };
    const Row rows[] = {
        {"largest", 3.4028234663852886e38, "3.402823E+38", "3.40282346638529E+38"},
        {"above", 3.4028235e38, "error 6: Overflow: Double as Single", "3.4028235E+38"},
        {"below", -1e39, "error 6: Overflow: Double as Single", "-1E+39"},
        {"no number", notANumber, "error 6: Overflow: Double as Single", "error 6: Overflow: Double as Double"},
        {"text too large", "1e39", "error 6: Overflow: \"1e39\" as Single", "1E+39"},
        {"text far too large", "1e400", "error 6: Overflow: \"1e400\" as Single",
         "error 6: Overflow: \"1e400\" as Double"},
        {"text", "abc", "error 13: Type mismatch: \"abc\"", "error 13: Type mismatch: \"abc\""},
        {"true", true, "-1", "-1"},
        {"null", Null{}, "error 94: Invalid use of Null", "error 94: Invalid use of Null"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(outcome([&] { return toSingle(row.given); }), row.single) << row.name;
        EXPECT_EQ(outcome([&] { return toDouble(row.given); }), row.doubleFloat) << row.name;
    }
    // Through a double this text would end at the neighbour.
    EXPECT_EQ(toSingle("7.038531e-26"), 7.038531e-26F);
}

TEST(Convert, CurrencyOf) {
    struct Row {
        Value given;
        const char* expected;
    };
    const Row rows[] = {
        {1.00005, "1"},
        {1.00015, "1.0002"},
        {-1.00015, "-1.0002"},
        {0.1, "0.1"},
        {922337203685477.0, "922337203685477"},
        {922337203685478.0, "error 6: Overflow: 922337203685478 as Currency"},
        {-922337203685478.0, "error 6: Overflow: -922337203685478 as Currency"},
        {notANumber, "error 6: Overflow: nan as Currency"},
        {"922337203685477.5807", "922337203685477.5807"},
        {"-922337203685477.58074", "-922337203685477.5807"},
        {"922337203685477.5808", "error 6: Overflow: \"922337203685477.5808\" as Currency"},
        {"1e18", "error 6: Overflow: \"1e18\" as Currency"},
        {"1e999999999999999999999", "error 6: Overflow: \"1e999999999999999999999\" as Currency"},
        {"($1,234.56785)", "-1234.5678"},
        {"0.00005", "0"},
        {"0.00015", "0.0002"},
        {"0.0000500000000000000000000000000001", "0.0001"},
        {"0.00004999999999999999999999999999999", "0"},
        {"0.000009", "0"},
        {"12345e-4", "1.2345"},
        {"", "error 13: Type mismatch: \"\""},
        {true, "-1"},
        {Null{}, "error 94: Invalid use of Null"},
        {Currency{std::numeric_limits<std::int64_t>::min()}, "-922337203685477.5808"},
        {Currency{10}, "0.001"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(outcome([&] { return toCurrency(row.given); }), row.expected);
    for (const char* decorated : {"1e3", "$1", "1,000", " 1", "(1)", "&H1"}) {
        EXPECT_EQ(errorOf([&] { return parseCurrency(decorated); }), errors::typeMismatch) << decorated;
    }
}

TEST(Convert, PlainDecimal) {
    struct Row {
        Text written;
        const char* expected;
    };
    const Row rows[] = {
        {plainDecimal(0.0), "0"},
        {plainDecimal(-0.0), "0"},
        {plainDecimal(100.0F / 3.0F), "33.333332"},
        {plainDecimal(0.1), "0.1"},
        {plainDecimal(-1e-7), "-0.0000001"},
        {plainDecimal(1e23), "100000000000000000000000"},
        {plainDecimal(1e7F), "10000000"},
        {plainDecimal(39128.5), "39128.5"},
        {plainDecimal(-39128.0), "-39128"},
        {plainDecimal(9007199254740991.0), "9007199254740991"},
        {plainDecimal(9007199254740992.0), "9007199254740992"},
        {outcome([] { return plainDecimal(infinity); }), "error 6: Overflow: a number that is not finite"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.written, row.expected);
}

// Every finite number reads back as itself from its plain form, and from its text to the digits that it shows.
TEST(Convert, NumbersReadBack) {
    std::mt19937_64 random(20070213);
    for (int i = 0; i < 20'000; ++i) {
        const auto bits = random();
        const auto number = std::bit_cast<double>(bits);
        if (std::isfinite(number)) {
            const Text plain = plainDecimal(number);
            ASSERT_EQ(toDouble(Value(plain)), number) << plain;
            ASSERT_EQ(plain.find_first_not_of("-.0123456789"), Text::npos) << plain;
            const Text shown = toText(Value(number));
            const double read = std::fabs(number) < 1e308 ? toDouble(Value(shown)) : number;
            ASSERT_LE(std::fabs(read - number), std::fabs(number) * 1e-14) << shown;
        }
        const auto single = std::bit_cast<float>(static_cast<std::uint32_t>(bits));
        if (std::isfinite(single)) {
            const Text plain = plainDecimal(single);
            ASSERT_EQ(toSingle(Value(plain)), single) << plain;
        }
        const Currency amount{static_cast<std::int64_t>(bits)};
        if (amount.scaled != std::numeric_limits<std::int64_t>::min()) {
            ASSERT_EQ(parseCurrency(toText(amount)), amount) << toText(amount);
        }
    }
}

TEST(SharedBytes, CopiesOfAValueShareThemAndWhatIsMovedFromHasNone) {
    Value value = Bytes(3, std::byte{7});
    const Value copy = value;
    EXPECT_EQ(copy.getIf<Bytes>(), value.getIf<Bytes>());
    const Value taken = std::move(value);
    EXPECT_EQ(*taken.getIf<Bytes>(), Bytes(3, std::byte{7}));
    EXPECT_TRUE(value.is(ValueType::bytes)); // NOLINT(bugprone-use-after-move): a cell that was emptied is still read
    EXPECT_TRUE(value.getIf<Bytes>()->empty());
    value = 1;
    EXPECT_EQ(value.getIf<Bytes>(), nullptr);
}

} // namespace
