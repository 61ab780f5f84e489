// The shared text scanner: line ends, the byte-order mark, fields and
// numbers.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "io/KrTextScanner.h"

using krtes::io::CKrTextScanner;

TEST(KrTextScanner, LinesFieldsAndNumbers)
{
    // LF, CRLF, a lone CR inside a line, an empty line, no end at the end.
    const std::string path = "t.txt";
    const std::string text = "\xEF\xBB\xBF" "a b\r\nc\rd\n\n\r\nlast";
    CKrTextScanner sc(path, text);
    std::vector<std::string> lines;
    std::vector<std::size_t> numbers;
    while (sc.NextLine()) {
        lines.emplace_back(sc.Line());
        numbers.push_back(sc.LineNo());
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"a b", "c\rd", "", "", "last"}));
    EXPECT_EQ(numbers, (std::vector<std::size_t>{1, 2, 3, 4, 5}));
    EXPECT_EQ(sc.Here(), "t.txt:5: ");

    // A header then binary data: the offset is where the data starts, and a
    // scanner started there does not take bytes for a byte-order mark.
    const std::string mixed = std::string("end_header\n\xEF\xBB\xBF\n", 15);
    CKrTextScanner head(path, mixed);
    ASSERT_TRUE(head.NextLine());
    EXPECT_EQ(head.Offset(), 11u);
    CKrTextScanner body(path, mixed, head.Offset());
    ASSERT_TRUE(body.NextLine());
    EXPECT_EQ(body.Line(), "\xEF\xBB\xBF");

    std::vector<std::string_view> f;
    krtes::io::SplitFields(" x,\ty  z\r", f);
    EXPECT_EQ(f, (std::vector<std::string_view>{"x,", "y", "z"}));
    krtes::io::SplitFields(" x,\ty ,,z", f, true);
    EXPECT_EQ(f, (std::vector<std::string_view>{"x", "y", "z"}));
    EXPECT_EQ(krtes::io::CutComment("1 2 # 3"), "1 2 ");
    EXPECT_TRUE(krtes::io::IsBlank(" \t\r") && !krtes::io::IsBlank(" ."));

    int64_t i = 0;
    EXPECT_TRUE(krtes::io::ToInt("+42", i) && i == 42);
    EXPECT_TRUE(krtes::io::ToInt("-9223372036854775808", i) && i == INT64_MIN);
    for (const char* bad : {"9223372036854775808", "1.0", "1e3", "+-1", "", "4 "})
        EXPECT_FALSE(krtes::io::ToInt(bad, i)) << bad;
    double d = 0;
    EXPECT_TRUE(krtes::io::ToDouble("-inf", d) && std::isinf(d));  // callers check finiteness
    EXPECT_FALSE(krtes::io::ToDouble("1e99999", d));                // out of range is not a number
}
