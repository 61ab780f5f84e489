// The krtes program's command dispatch and usage text.
#include <gtest/gtest.h>

#include <string>

#include "support/KrtesCliRun.h"

using krtes_test::Krtes;

TEST(Krtes, UnknownOrMissingCommandFailsAndHelpListsTheCommands)
{
    EXPECT_NE(Krtes("frobnicate").code, 0);
    EXPECT_NE(Krtes("").code, 0);
    const std::string help = Krtes("--help").out;
    for (const char* usage : {"tin ", "elev SURFACE [POINTS]", "drape SURFACE LINES", "fit ", "collide ", "boolean "})
        EXPECT_NE(help.find(usage), std::string::npos) << usage << "\n" << help;
}
