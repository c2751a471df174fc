// JSON the host writes: never throws on text that is not UTF-8, and keeps paths byte for byte.
#include "Marvane/core/JsonText.h"

#include <gtest/gtest.h>

namespace {

TEST(JsonText, AStringThatIsNotUtf8IsWrittenWithAReplacementInsteadOfThrowing) {
    const nlohmann::json json = {{"name", std::string("Sc\xE8ne")}};
    std::string text;
    ASSERT_NO_THROW(text = host::JsonText(json));
    EXPECT_EQ(text, "{\"name\":\"Sc\xEF\xBF\xBD"
                    "ne\"}");
    EXPECT_EQ(host::JsonText(nlohmann::json{{"a", 1}}, 2), "{\n  \"a\": 1\n}");
}

TEST(JsonText, APathComesBackWithExactlyItsBytes) {
    const std::filesystem::path latin1 = "/shows/Pilot/Sc\xE8ne 12.mvproj";
    const nlohmann::json stored = host::PathToJson(latin1);
    ASSERT_TRUE(stored.is_object());
    // Written out and read again, as every file of the host is.
    const auto reread = nlohmann::json::parse(host::JsonText(stored));
    EXPECT_EQ(host::PathFromJson(reread), latin1);
    // A UTF-8 path stays a plain string, as files written before have it.
    const std::filesystem::path utf8 = "/shows/Pilot/Sc\xC3\xA8ne 12.mvproj";
    EXPECT_EQ(host::PathToJson(utf8), nlohmann::json(utf8.string()));
    EXPECT_EQ(host::PathFromJson(host::PathToJson(utf8)), utf8);
    // Anything else gives no path.
    EXPECT_TRUE(host::PathFromJson(nlohmann::json{{"bytes", "4"}}).empty());
    EXPECT_TRUE(host::PathFromJson(nlohmann::json{{"bytes", "zz"}}).empty());
    EXPECT_TRUE(host::PathFromJson(nlohmann::json(7)).empty());
}

} // namespace
