// JSON values, memory sizes, normalised paths, file information and the tuning store.
#include "Marvane/application/HostSession.h"
#include "Marvane/application/TuningStore.h"
#include "Marvane/core/LocalizerControl.h"
#include "host/FileServices.h"
#include "host/Formatting.h"
#include "host/Json.h"
#include "host/Localizer.h"
#include "host/TuningStore.h"

#include "TemporaryFolder.h"

#include <QLocale>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

TEST(Json, KeepsMemberOrderAndKindsOfNumbers) {
    const auto value =
        host::ParseJson(R"({"b":1,"a":-2,"c":18446744073709551615,"d":1.5,"e":true})");
    ASSERT_TRUE(value.has_value());
    const auto& object = value->AsObject();
    ASSERT_EQ(object.size(), 5u);
    EXPECT_EQ(object[0].first, "b");
    EXPECT_TRUE(object[0].second.IsInteger());
    EXPECT_EQ(object[1].second.AsSigned(), -2);
    EXPECT_EQ(object[2].second.AsUnsigned(), 18446744073709551615ull);
    EXPECT_TRUE(object[3].second.IsDouble());
    EXPECT_FALSE(object[3].second.IsInteger());
    EXPECT_TRUE(object[4].second.AsBool());
    EXPECT_EQ(host::RenderJson(*value),
              R"({"b":1,"a":-2,"c":18446744073709551615,"d":1.5,"e":true})");
}

TEST(Json, AccessorsOfTheWrongKindThrow) {
    const auto value = host::ParseJson(R"({"s":"text","n":-1})");
    ASSERT_TRUE(value.has_value());
    EXPECT_THROW(value->Find("s")->AsBool(), host::JsonTypeError);
    EXPECT_THROW(value->Find("n")->AsUnsigned(), host::JsonTypeError);
    EXPECT_THROW(value->Find("s")->AsDouble(), host::JsonTypeError);
    EXPECT_EQ(value->Find("missing"), nullptr);
    EXPECT_THROW(value->AsArray(), host::JsonTypeError);
}

TEST(Json, InvalidTextIsRefusedWithAReason) {
    std::string reason;
    EXPECT_FALSE(host::ParseJson("{\"a\":", &reason).has_value());
    EXPECT_FALSE(reason.empty());
    EXPECT_FALSE(host::ParseJson("").has_value());
}

TEST(Json, DeeplyNestedTextIsRefusedInsteadOfExhaustingTheStack) {
    std::string reason;
    const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
    EXPECT_FALSE(host::ParseJson(deep, &reason).has_value());
    EXPECT_NE(reason.find("nests deeper"), std::string::npos);
    const std::string shallow = std::string(100, '[') + std::string(100, ']');
    EXPECT_TRUE(host::ParseJson(shallow).has_value());
    // Brackets inside strings do not count.
    EXPECT_TRUE(host::ParseJson("[\"" + std::string(2000, '[') + "\"]").has_value());
}

TEST(Json, BuildsAndRendersCompactUtf8) {
    host::JsonValue root;
    root.Add("na\u00efve", host::JsonValue(std::string("caf\u00e9 \"quoted\"")));
    root.Add("list", host::JsonValue(host::JsonValue::Array{host::JsonValue(std::int64_t{1}),
                                                            host::JsonValue()}));
    EXPECT_EQ(host::RenderJson(root),
              "{\"na\u00efve\":\"caf\u00e9 \\\"quoted\\\"\",\"list\":[1,null]}");
}

TEST(LocalDateTime, AMomentIsWrittenInTheLocalZoneTheWayTheLocaleWritesIt) {
    // 2026-06-15 12:00 UTC: the same day and year in every time zone.
    const std::string text = host::FormatLocalDateTime(1781524800);
    EXPECT_NE(text.find("2026"), std::string::npos) << text;
    EXPECT_NE(text.find("15"), std::string::npos) << text;
    // Another moment gives another text; the text is well-formed UTF-8 (no byte of it needs
    // keeping as an escape when it becomes UTF-16).
    EXPECT_NE(host::FormatLocalDateTime(1781524800 + 3600), text);
    for (const char16_t unit : host::ToUTF16(text)) {
        EXPECT_FALSE(unit >= 0xDC80 && unit <= 0xDCFF) << text;
    }
}

TEST(MemorySize, UsesTwoSignificantDigitsAndBinaryUnits) {
    EXPECT_EQ(host::NumberToMemoryString(0, 2, false), "0 bytes");
    EXPECT_EQ(host::NumberToMemoryString(1, 2, false), "1 byte");
    EXPECT_EQ(host::NumberToMemoryString(1023, 2, false), "1023 bytes");
    EXPECT_EQ(host::NumberToMemoryString(1024, 2, false), "1 KB");
    EXPECT_EQ(host::NumberToMemoryString(1536, 2, false), "1.5 KB");
    EXPECT_EQ(host::NumberToMemoryString(12 * 1024 + 300, 2, false), "12 KB");
    EXPECT_EQ(host::NumberToMemoryString(3'565'158, 2, false), "3.4 MB");
    EXPECT_EQ(host::NumberToMemoryString(3'565'158, 2, true), "3.4 megabytes");
    // Just below a megabyte rounds to it, and says so in the right unit.
    EXPECT_EQ(host::NumberToMemoryString(1'048'575, 2, false), "1 MB");
    EXPECT_EQ(host::NumberToMemoryString(1'048'575, 4, false), "1 MB");
    EXPECT_EQ(host::NumberToMemoryString(1'048'575, 7, false), "1023.999 KB");
}

TEST(MemorySize, FollowsTheChosenLanguage) {
    host::SetLanguage("de");
    EXPECT_EQ(host::NumberToMemoryString(263, 2, false), "263 Byte");
    EXPECT_EQ(host::NumberToMemoryString(1, 2, false), "1 Byte");
    EXPECT_EQ(host::NumberToMemoryString(3'565'158, 2, false), "3,4 MB");
    EXPECT_EQ(host::NumberToMemoryString(3'565'158, 2, true), "3,4 Megabyte");
    host::SetLanguage("en");
    EXPECT_EQ(host::NumberToMemoryString(263, 2, false), "263 bytes");
}

TEST(LocalDateTime, FollowsTheLanguagesLocale) {
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    const std::string german = host::FormatLocalDateTime(1781524800); // 15 June 2026
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    const std::string english = host::FormatLocalDateTime(1781524800);
    QLocale::setDefault(before);
    // Day before month with dots in German, month first with slashes in American English.
    EXPECT_NE(german.find("15.06.2026"), std::string::npos) << german;
    EXPECT_NE(english.find("6/15/2026"), std::string::npos) << english;
}

TEST(NormalizedPath, FoldsEquivalentSpellingsOfOneFolder) {
    const testsupport::TemporaryFolder temporary("normalise");
    const fs::path root = temporary.Path();
    fs::create_directories(root / "shows" / "Pilot");
    fs::create_directory_symlink(root / "shows", root / "linked");
    const std::u16string expected = host::ToUTF16((root / "shows" / "Pilot").string());
    for (const std::string& spelling :
         {(root / "shows" / "Pilot").string(), (root / "shows" / "Pilot").string() + "/",
          root.string() + "//shows///Pilot", (root / "shows" / "." / "Pilot").string(),
          (root / "shows" / "x" / ".." / "Pilot").string(), (root / "linked" / "Pilot").string()}) {
        EXPECT_EQ(host::ToNormalizedPath(host::ToUTF16(spelling)), expected) << spelling;
    }
    // A path that does not exist yet is still made regular.
    EXPECT_EQ(host::ToNormalizedPath(host::ToUTF16(root.string() + "/shows/New//Show/")),
              host::ToUTF16((root / "shows" / "New" / "Show").string()));
    EXPECT_EQ(host::ToNormalizedPath(u""), u"");
}

TEST(FileInformation, ReportsTimesInTicksAndTheSize) {
    const testsupport::TemporaryFolder temporary("fileinfo");
    const fs::path file = temporary / "file";
    std::ofstream(file) << "12345";
    timespec times[2] = {{0, UTIME_OMIT}, {1'700'000'000, 250'000'000}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    const host::FileInfo info(host::ToUTF16(file.string()));
    EXPECT_TRUE(info.Exists());
    EXPECT_EQ(info.Size(), 5u);
    EXPECT_EQ(info.Modified(), 17'000'000'002'500'000LL);
    EXPECT_GT(info.Created(), 0);
    fs::remove(file);
    EXPECT_FALSE(host::FileInfo(host::ToUTF16(file.string())).Exists());
}

TEST(ProfileDirectory, IsTheProfileFolderWithATrailingSeparator) {
    host::HostSession::Instance().profileDirectory = "/home/ana/.config/marvane";
    EXPECT_EQ(host::GetDirectory("user.profile"), u"/home/ana/.config/marvane/");
    EXPECT_EQ(host::GetDirectory("unknown"), u"");
    host::HostSession::Instance().profileDirectory.clear();
}

TEST(TuningStore, ReadsTheProfilesTuningFileAndMovesItsCounter) {
    const testsupport::TemporaryFolder temporary("tuning");
    const fs::path profile = temporary.Path();
    std::ofstream(profile / "tuning.json") << R"({"Tandrel.Columns.Width": 240, "Other": "x"})";
    const std::uint32_t before = host::TuningStoreChangeCount();
    host::LoadTuningStore(profile);
    EXPECT_NE(host::TuningStoreChangeCount(), before);
    std::string text;
    ASSERT_TRUE(host::FindTuningValue("Tandrel.Columns.Width", text));
    EXPECT_EQ(text, "240");
    EXPECT_FALSE(host::FindTuningValue("Absent", text));
    host::SetTuningValues({});
    EXPECT_FALSE(host::FindTuningValue("Tandrel.Columns.Width", text));
}

} // namespace
