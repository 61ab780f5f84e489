// The shared text scanner: line ends, the byte-order mark, fields and
// numbers.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>

#include "IoTestFiles.h"
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

    // Fields split at white space, and at commas only when asked; blank is
    // any white space.
    std::vector<std::string_view> f;
    krtes::io::SplitFields(" x,\ty  z\r", f);
    EXPECT_EQ(f, (std::vector<std::string_view>{"x,", "y", "z"}));
    krtes::io::SplitFields(" x,\ty ,,z", f, true);
    EXPECT_EQ(f, (std::vector<std::string_view>{"x", "y", "z"}));
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

TEST(KrTextScanner, ChunkedReaderGivesTheSameLines)
{
    // Random text of short and long lines, LF and CRLF, a byte-order mark
    // and a missing final line end, read through chunks of every small size
    // (lines straddling many chunk boundaries) and whole: the same lines and
    // numbers.
    iotest::Files dir;
    std::mt19937 rng(5);
    for (int round = 0; round < 20; ++round) {
        std::string text = round % 2 ? "\xEF\xBB\xBF" : "";
        const int n = 1 + static_cast<int>(rng() % 40);
        for (int l = 0; l < n; ++l) {
            const int len = static_cast<int>(rng() % (l % 7 == 0 ? 200 : 12));
            for (int k = 0; k < len; ++k) text += static_cast<char>('a' + rng() % 26);
            if (l + 1 < n || round % 3) text += rng() % 2 ? "\r\n" : "\n";
        }
        const std::string path = dir.Write("chunks.txt", text);
        std::vector<std::string> whole;
        CKrTextScanner sc(path, text);
        while (sc.NextLine()) whole.emplace_back(sc.Line());
        for (std::size_t chunk : {16, 17, 31, 64, 1 << 20}) {
            krtes::io::CKrLineReader rd(path, chunk);
            std::string err;
            ASSERT_TRUE(rd.Open(err)) << err;
            std::vector<std::string> got;
            while (rd.NextLine()) {
                got.emplace_back(rd.Line());
                EXPECT_EQ(rd.LineNo(), got.size());
            }
            EXPECT_TRUE(rd.Finish(err));
            EXPECT_EQ(got, whole) << "round " << round << ", chunk " << chunk;
        }
    }
    std::string err;
    krtes::io::CKrLineReader missing(dir.Path("none.txt"));
    EXPECT_FALSE(missing.Open(err));
    EXPECT_EQ(err, dir.Path("none.txt") + ": cannot open file");
}
