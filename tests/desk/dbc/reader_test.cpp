#include "desk/dbc/reader.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

using dbc::ByteOrder;
using dbc::Database;
using dbc::readDatabase;
using dbc::Signal;
using dbc::ValueKind;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

namespace {

std::vector<std::string> remarksOf(const Database& database) {
    std::vector<std::string> lines;
    for (const dbc::Remark& remark : database.remarks) {
        lines.push_back(std::to_string(remark.line) + (remark.isLoss ? " lost: " : ": ") + remark.text);
    }
    return lines;
}

// The database must be understood without a word.
Database readWell(const std::string& text) {
    Database database = readDatabase(text);
    EXPECT_THAT(remarksOf(database), IsEmpty());
    return database;
}

// What a message of one signal line is read as.
Signal signalOf(const std::string& line) {
    const Database database = readDatabase("BO_ 1 M: 8 E\n" + line + "\n");
    EXPECT_EQ(database.signalCount(), 1U) << line;
    return database.signalCount() == 0 ? Signal{} : database.messages[0].signals[0];
}

TEST(DatabaseReader, ReadsAnOrdinaryFile) {
    const Database database = readWell(R"(VERSION "1.0"

NS_ :
	NS_DESC_
	CM_
	BA_DEF_
	BA_
	VAL_
	FILTER
	BU_SG_REL_

BS_:

BU_: Engine Gateway
	Dash

VAL_TABLE_ OnOff 0 "off" 1 "on" ;

BO_ 291 EngineData: 8 Engine
 SG_ Speed : 0|16@1+ (0.01,0) [0|250] "km/h"  Gateway,Dash
 SG_ Torque : 23|12@0- (0.5,-10) [0|0] "Nm" Vector__XXX

BO_ 2147484000 Long: 64 Vector__XXX

BO_TX_BU_ 291 : Engine,Gateway;
CM_ BU_ Engine "the engine";
CM_ SG_ 291 Speed "of the wheels;
 BO_ 5 in a text
";
BA_DEF_ BO_  "GenMsgCycleTime" INT 0 1000;
BA_DEF_DEF_ "GenMsgCycleTime" 0;
BA_ "GenMsgCycleTime" BO_ 291 100;
VAL_ 291 Torque -1 "error" 0 "none" ;
SIG_GROUP_ 291 Group 1 : Speed Torque;
)");
    ASSERT_EQ(database.messages.size(), 2U);
    const dbc::Message& message = database.messages[0];
    EXPECT_EQ(message.name, "EngineData");
    EXPECT_EQ(message.id, 291U);
    EXPECT_FALSE(message.isExtended);
    EXPECT_EQ(message.size, 8U);
    ASSERT_EQ(message.signals.size(), 2U);
    EXPECT_EQ(message.signals[0].unit, "km/h");
    EXPECT_EQ(message.signals[0].scaling.factor(), 0.01);
    const Signal& torque = message.signals[1];
    EXPECT_EQ(torque.start, 23U);
    EXPECT_EQ(torque.length, 12U);
    EXPECT_EQ(torque.order, ByteOrder::Motorola);
    EXPECT_EQ(torque.kind, ValueKind::Signed);
    EXPECT_EQ(torque.scaling.offset(), -10.0);
    EXPECT_THAT(torque.texts, ElementsAre(Pair(0U, "none"), Pair(~std::uint64_t{0}, "error")));
    EXPECT_TRUE(database.messages[1].isExtended);
    EXPECT_EQ(database.messages[1].id, 352U);
    EXPECT_EQ(database.messages[1].size, 64U);
}

TEST(DatabaseReader, TakesSectionsInAnyOrderAndWithoutOpening) {
    const Database database = readWell(
        "CM_ \"IMPORT other.dbc\";\nBO_ 1 A: 8 X\n SG_ a : 0|8@1+ (1,0) [0|0] \"\" X\n"
        "VAL_ 1 a 1 \"one\" ;\nBO_ 2 B: 8 X\n SG_ b : 0|8@1+ (1,0) [0|0] \"\" X\nVERSION \"\"");
    EXPECT_EQ(database.messages.size(), 2U);
    EXPECT_EQ(database.messages[0].signals[0].texts.at(1), "one");
}

TEST(DatabaseReader, TakesGluedAndScatteredTokens) {
    EXPECT_EQ(signalOf("SG_ s : 0|8@1+(.25,5e-06)[0|1]\"u\"X,Y").scaling.offset(), 5e-06);
    EXPECT_EQ(signalOf("\tSG_\ts\t:\t0 | 8 @ 1 + ( 1.8E+019 , 0 ) [ 0 | 0 ] \"\" X").scaling.factor(), 1.8e19);
    EXPECT_EQ(signalOf("SG_ 2nd: 0|8@1+ (1,0) [0|0] \"\" X").name, "2nd");
    EXPECT_EQ(signalOf("SG_ s : 0|8@1+ (1,0)").unit, "");
    EXPECT_EQ(signalOf("SG_ s : 0|8@1+ (1,0) \"u\"").unit, "u");
    EXPECT_EQ(signalOf("SG_ s : 0|8@1+ (1,0) [0|0] \"5\\\"\" X").unit, "5\"");
    EXPECT_EQ(signalOf("SG_ s : 0|8@1+ (1,0) [0|0] \"\\\" X").unit, "\\");
    EXPECT_EQ(signalOf("SG_s : 0|8@1+ (1,0) [0|0] \"\" X").name, "s");
    EXPECT_EQ(signalOf("SG_ s : 0|8@1 (1,0) [0|0] \"\" X").kind, ValueKind::Unsigned);
    EXPECT_EQ(readWell("  BO_ 5 NAME : 8 X").messages[0].name, "NAME");
    EXPECT_EQ(readWell("BO_ 5 NAME:8 X").messages[0].size, 8U);
    EXPECT_EQ(readDatabase("BO_5 NAME: 8 X").messages[0].id, 5U);
    EXPECT_EQ(readDatabase("BO_ 5 NAME 8 X").messages[0].size, 8U);
    EXPECT_EQ(readDatabase("BO_ 5 A: 8 X SG_ s : 0|8@1+ (1,0) [0|0] \"\" X SG_ t : 8|8@1+ (1,0) "
                           "[0|0] \"\" X\n").signalCount(), 2U);
}

TEST(DatabaseReader, TakesWindowsFilesAndOddBytes) {
    const Database database = readWell(
        "\xEF\xBB\xBFVERSION \"\"\r\nNS_ :\r\n\tCM_\r\n\r\nBS_:\r\nBU_: A\r\nBO_ 1 A: 8 X\r\n"
        " SG_ a : 0|8@1+ (1,0) [0|0] \"\xC2\xB0\" X\r\n\x1A");
    EXPECT_EQ(database.messages[0].signals[0].unit, "\u00B0");
    EXPECT_EQ(signalOf("SG_ s : 0|8@1+ (1,0) [0|0] \"\xB0\x43 \x80\x81\" X").unit, "\u00B0C \u20AC\uFFFD");
}

TEST(DatabaseReader, TakesLargeIdsWithoutTheirFlagForExtendedOnes) {
    const Database database = readDatabase("BO_ 419361278 A: 8 X\nBO_ 1073742000 B: 8 X\nBO_ 2047 C: 8 X\n");
    EXPECT_TRUE(database.messages[0].isExtended);
    EXPECT_EQ(database.messages[0].id, 419361278U);
    EXPECT_EQ(database.messages[1].id, 176U);
    EXPECT_FALSE(database.messages[2].isExtended);
    EXPECT_THAT(remarksOf(database),
                ElementsAre("1: the id 419361278 of A is taken for an extended one, although bit 31 is not set",
                            "2: the id 1073742000 of B is taken for an extended one, although bit 31 is not set"));
}

TEST(DatabaseReader, LeavesOutTheSignalsOfNoMessage) {
    const Database database = readWell(
        "BO_ 3221225472 VECTOR__INDEPENDENT_SIG_MSG: 0 Vector__XXX\n"
        " SG_ orphan : 0|8@1+ (1,0) [0|0] \"\" X\nBO_ 1 A: 8 X\n");
    EXPECT_EQ(database.messages.size(), 1U);
    EXPECT_EQ(database.signalCount(), 0U);
}

TEST(DatabaseReader, TakesWhatLacksItsEndWithARemark) {
    const Database database = readDatabase(
        "BO_ 1 A: 8 X\n SG_ a : 0|8@1+ (1,0) [0|0] \"\" X\n"
        "CM_ BO_ 1 \"no end\"\nBO_ 2 B: 8 X\n SG_ b : 0|8@1+ (1,0) [0|0] \"\" X\n"
        "VAL_ 1 a 0 \"zero\" 1 \"one\"\nVAL_ 2 b 2 \"two\"");
    EXPECT_EQ(database.messages.size(), 2U);
    EXPECT_EQ(database.messages[0].signals[0].texts.size(), 2U);
    EXPECT_EQ(database.messages[1].signals[0].texts.at(2), "two");
    EXPECT_THAT(remarksOf(database), ElementsAre("3: there is no ';' at the end of CM_",
                                                 "6: there is no ';' at the end of VAL_",
                                                 "7: there is no ';' at the end of VAL_"));
}

TEST(DatabaseReader, SaysWhatItDidNotUnderstandAndGoesOn) {
    const Database database = readDatabase(
        "BO_ 1 A: 8 X\n SG_ a : 0|8@1+ (1,0) [0|0] \"\" X\n SG_ b : x|8@1+ (1,0) [0|0] \"\" X\n"
        " SG_ c : 0|8@2+ (1,0) [0|0] \"\" X\n SG_ d : 0|8@1+ 1,0 [0|0] \"\" X\n"
        "BO_ two B: 8 X\n SG_ e : 0|8@1+ (1,0) [0|0] \"\" X\nBO_ 3 C: 8 X\n"
        "VAL_ 9 a 1 \"one\" ;\nVAL_ 1 zz 1 \"one\" ;\nCM_ SG_ 304 \"x\";\nCM_ 145 \"x\";\nhello\n");
    EXPECT_EQ(database.messages.size(), 2U);
    EXPECT_EQ(database.signalCount(), 1U);
    EXPECT_THAT(remarksOf(database),
                ElementsAre("3 lost: expected the start bit of a signal, found \"x|8@1+ (1,0) [0|0] \"\" X\"",
                            "4 lost: expected the byte order 0 or 1, found \"2+ (1,0) [0|0] \"\" X\"",
                            "5 lost: expected '(', found \"1,0 [0|0] \"\" X\"",
                            "6 lost: expected the id of a message, found \"two B: 8 X\"",
                            "9: VAL_ of the unknown message 9", "10: VAL_ of the unknown signal A.zz",
                            "13 lost: expected a section like BO_, SG_ or VAL_, found \"hello\""));
}

TEST(DatabaseReader, GoesOnBehindATextWithoutEnd) {
    const Database database = readDatabase("BO_ 1 A: 8 X\nCM_ \"never closed;\nBO_ 2 B: 8 X\n");
    EXPECT_EQ(database.messages.size(), 2U);
    EXPECT_THAT(remarksOf(database), ElementsAre("2 lost: a comment has no closing quote"));
}

TEST(DatabaseReader, RefusesWhatIsNoDatabase) {
    const auto why = [](const std::string& text) -> std::string {
        try {
            readDatabase(text);
        } catch (const std::invalid_argument& wrong) {
            return wrong.what();
        }
        return "";
    };
    EXPECT_EQ(why("time,Speed\n0,1\n"),
              "line 1: expected a section like BO_, SG_ or VAL_, found \"time,Speed\"");
    EXPECT_EQ(why(""), "line 1: expected a section like BO_, SG_ or VAL_, found the end of the file");
    try {
        dbc::readDatabaseFile("/nonexistent.dbc");
        ADD_FAILURE();
    } catch (const std::invalid_argument& wrong) {
        EXPECT_STREQ(wrong.what(), "the database \"/nonexistent.dbc\" cannot be read");
    }
}

constexpr const char* kMultiplexed =
    "BO_ 1 A: 8 X\n SG_ root M : 0|8@1+ (1,0) [0|0] \"\" X\n SG_ one m1M : 8|8@1+ (1,0) [0|0] \"\" X\n"
    " SG_ two m2 : 8|8@1+ (1,0) [0|0] \"\" X\n SG_ three m3: 16|8@1+ (1,0) [0|0] \"\" X\n"
    " SG_ plain : 24|8@1+ (1,0) [0|0] \"\" X\n";

TEST(DatabaseReader, FindsTheSwitchesOfSignals) {
    const Database database =
        readWell(std::string(kMultiplexed) + "SG_MUL_VAL_ 1 three one 3-3, 10 - 12,20-20;\n");
    const auto& signals = database.messages[0].signals;
    EXPECT_TRUE(signals[0].isSwitch && signals[1].isSwitch && !signals[2].isSwitch);
    EXPECT_FALSE(signals[0].multiplexing || signals[4].multiplexing);
    EXPECT_EQ(signals[1].multiplexing->switchSignal, 0U);
    EXPECT_THAT(signals[2].multiplexing->ranges, ElementsAre(Pair(2, 2)));
    EXPECT_EQ(signals[3].multiplexing->switchSignal, 1U);
    EXPECT_THAT(signals[3].multiplexing->ranges, ElementsAre(Pair(3, 3), Pair(10, 12), Pair(20, 20)));
}

TEST(DatabaseReader, TakesSignalsThatNothingSwitchesForPlainOnes) {
    const Database database = readDatabase(
        "BO_ 1 A: 8 X\n SG_ bare m : 0|8@1+ (1,0) [0|0] \"\" X\n SG_ lone m4 : 0|8@1+ (1,0) [0|0] \"\" X\n");
    EXPECT_FALSE(database.messages[0].signals[0].multiplexing);
    EXPECT_FALSE(database.messages[0].signals[1].multiplexing);
    EXPECT_THAT(remarksOf(database),
                ElementsAre("2: A.bare has an 'm' without a number and is always there",
                            "3: A.lone is multiplexed, but nothing switches it; it is always there"));
}

TEST(DatabaseReader, BreaksRingsOfSwitches) {
    const Database database = readDatabase(
        std::string(kMultiplexed) + "SG_MUL_VAL_ 1 one three 1-1;\nSG_MUL_VAL_ 1 three one 3-3;\n");
    const auto& signals = database.messages[0].signals;
    EXPECT_TRUE(!signals[1].multiplexing || !signals[3].multiplexing);
    EXPECT_THAT(remarksOf(database), ElementsAre(HasSubstr("switches itself; it is always there")));
}

TEST(DatabaseReader, KnowsTheKindsOfValues) {
    const Database database = readDatabase(
        "BO_ 1 A: 8 X\n SG_ f : 0|32@1- (1,0) [0|0] \"\" X\n SG_ d : 0|64@1- (1,0) [0|0] \"\" X\n"
        " SG_ odd : 0|8@1- (1,0) [0|0] \"\" X\n"
        "SIG_VALTYPE_ 1 f : 1;\nSIG_VALTYPE_ 1 d: 2;\nSIG_VALTYPE_ 1 odd 1;\n");
    const auto& signals = database.messages[0].signals;
    EXPECT_EQ(signals[0].kind, ValueKind::Float);
    EXPECT_EQ(signals[1].kind, ValueKind::Double);
    EXPECT_EQ(signals[2].kind, ValueKind::Signed);
    EXPECT_THAT(remarksOf(database),
                ElementsAre("4: A.odd with 8 bits is no floating-point number of kind 1 and is taken for a whole one"));
}

TEST(DatabaseReader, KeepsTextsByRawValue) {
    const Database database = readWell(
        "BO_ 1 A: 8 X\n SG_ s : 0|8@1- (1,0) [0|0] \"\" X\n SG_ u : 0|8@1+ (1,0) [0|0] \"\" X\n"
        " SG_ f : 0|32@1- (1,0) [0|0] \"\" X\n SG_ t : 0|8@1+ (1,0) [0|0] \"\" X\nSIG_VALTYPE_ 1 f : 1;\n"
        "VAL_ 1 s -1 \"minus one\" 255 \"the same bits\" 254 \"minus two\" ;\n"
        "VAL_ 1 u -1 \"all ones\" 3.0 \"a;b \\\"c\\\"\" ;\nVAL_ 1 f 1 \"one\" ;\n"
        "VAL_ environment 1 \"one\" ;\nVAL_TABLE_ T 7 \"seven\" ;\nVAL_ 1 t T ;\n");
    const auto& signals = database.messages[0].signals;
    EXPECT_THAT(signals[0].texts, ElementsAre(Pair(static_cast<std::uint64_t>(-2), "minus two"),
                                              Pair(static_cast<std::uint64_t>(-1), "minus one")));
    EXPECT_THAT(signals[1].texts, ElementsAre(Pair(3, "a;b \"c\""), Pair(255, "all ones")));
    EXPECT_THAT(signals[2].texts, ElementsAre(Pair(0x3F800000, "one")));
    EXPECT_THAT(signals[3].texts, ElementsAre(Pair(7, "seven")));
}

TEST(DatabaseReader, KnowsMessagesByTheirParameterGroup) {
    const std::string head = "BO_ 2566687742 A: 8 X\nBO_ 2566687743 B: 8 X\nBO_ 5 C: 8 X\n";
    const auto flags = [&](const std::string& attributes) {
        std::vector<bool> are;
        for (const dbc::Message& message : readDatabase(head + attributes).messages) {
            are.push_back(message.isJ1939);
        }
        return are;
    };
    const std::string formats =
        "BA_DEF_ BO_ \"VFrameFormat\" ENUM \"StandardCAN\",\"ExtendedCAN\",\"reserved\",\"J1939PG\";\n";
    EXPECT_THAT(flags(""), ElementsAre(false, false, false));
    EXPECT_THAT(flags(formats + "BA_ \"VFrameFormat\" BO_ 2566687742 3;\n"), ElementsAre(true, false, false));
    EXPECT_THAT(flags("BA_ \"VFrameFormat\" BO_ 2566687742 \"J1939PG\";\n"), ElementsAre(true, false, false));
    EXPECT_THAT(flags(formats + "BA_DEF_DEF_ \"VFrameFormat\" \"J1939PG\";\nBA_ \"VFrameFormat\" BO_ 2566687742 1;\n"),
                ElementsAre(false, true, false));
    EXPECT_THAT(flags("BA_ \"ProtocolType\" \"J1939\";\n"), ElementsAre(true, true, false));
}

TEST(DatabaseReader, PrefersLongNames) {
    const Database database = readWell(
        "BO_ 1 Short: 8 X\n SG_ s : 0|8@1+ (1,0) [0|0] \"\" X\nVAL_ 1 s 1 \"one\" ;\n"
        "BA_ \"SystemSignalLongSymbol\" SG_ 1 s \"ALongerNameOfTheSignal\";\n"
        "BA_ \"SystemMessageLongSymbol\" BO_ 1 \"ALongerName\";\n");
    EXPECT_EQ(database.messages[0].name, "ALongerName");
    EXPECT_EQ(database.messages[0].signals[0].name, "ALongerNameOfTheSignal");
    EXPECT_EQ(database.messages[0].signals[0].texts.size(), 1U);
}

TEST(DatabaseReader, CountsRemarksThatAreTooMany) {
    std::string text = "BO_ 1 A: 8 X\n";
    for (int i = 0; i < 130; ++i) {
        text += "VAL_ 9 a 1 \"one\" ;\n";
    }
    const Database database = readDatabase(text);
    EXPECT_EQ(database.remarks.size(), Database::kMostRemarks);
    EXPECT_EQ(database.moreRemarks, 30U);
}

}  // namespace
