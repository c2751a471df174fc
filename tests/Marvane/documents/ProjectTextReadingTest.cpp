// A project's text is read event by event: what it accepts and refuses, and what it keeps of
// members the host does not know, are what any JSON reader makes of the text; the reading says
// how far it got and stops when asked.
#include "Marvane/documents/ProjectContent.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

namespace {

namespace fs = std::filesystem;

const fs::path kProject = "/productions/Pilot/Scene 12.mvproj";

struct Reading {
    bool accepted = false;
    host::ProjectContent content;
    std::string error;
};

Reading Read(const std::string& text, host::ProjectReadWatch* watch = nullptr) {
    Reading reading;
    reading.accepted =
        host::ParseProjectContent(text, kProject, reading.content, reading.error, watch);
    return reading;
}

TEST(ProjectTextReadingTest, AMemberGivenTwiceCountsAsItsLastValue) {
    const Reading reading =
        Read(R"({"formatVersion":1,"name":"First","bins":["A"],"name":"Second","bins":["B","C"]})");
    ASSERT_TRUE(reading.accepted) << reading.error;
    EXPECT_EQ(reading.content.name, "Second");
    EXPECT_EQ(reading.content.bins, (std::vector<std::string>{"B", "C"}));
    // A last value of the wrong kind spoils an earlier good one, and the other way round.
    EXPECT_FALSE(Read(R"({"formatVersion":1,"bins":["A"],"bins":"B"})").accepted);
    EXPECT_TRUE(Read(R"({"formatVersion":1,"bins":"B","bins":["A"]})").accepted);
    EXPECT_FALSE(Read(R"({"formatVersion":1,"name":"A","name":7})").accepted);
}

TEST(ProjectTextReadingTest, UnknownMembersAreKeptWholeHoweverTheyNest) {
    const Reading reading =
        Read(R"({"zeta":[1,{"b":[true,null,2.5,"x"],"a":{}}],"formatVersion":1,"alpha":"z",)"
             R"("sequences":["S"],"empty":[]})");
    ASSERT_TRUE(reading.accepted) << reading.error;
    EXPECT_EQ(reading.content.sequences, (std::vector<std::string>{"S"}));
    EXPECT_EQ(nlohmann::json::parse(reading.content.otherMembers),
              nlohmann::json::parse(
                  R"({"zeta":[1,{"b":[true,null,2.5,"x"],"a":{}}],"alpha":"z","empty":[]})"));
}

TEST(ProjectTextReadingTest, NamesOfTheWrongKindMakeTheProjectDamaged) {
    for (const char* text :
         {R"({"formatVersion":1,"sequences":["A",["B"]]})",
          R"({"formatVersion":1,"sequences":["A",{"B":1}]})",
          R"({"formatVersion":1,"bins":["A",3]})", R"({"formatVersion":1,"bins":{"A":"B"}})",
          R"({"formatVersion":"1"})", R"({"formatVersion":1.0})", R"({"name":"No format"})"}) {
        const Reading reading = Read(text);
        EXPECT_FALSE(reading.accepted) << text;
        EXPECT_NE(reading.error.find("is damaged: its content is not in the expected form"),
                  std::string::npos)
            << text << ": " << reading.error;
    }
}

TEST(ProjectTextReadingTest, TextThatIsNoObjectOrNoJsonIsNoProject) {
    for (const std::string& text : {std::string("[1,2]"), std::string("\"text\""),
                                    std::string("{\"formatVersion\":1} trailing"),
                                    std::string("{\"formatVersion\":1,\"name\":\"\xff\"}"),
                                    std::string("{\"formatVersion\":1}\0{}", 22)}) {
        const Reading reading = Read(text);
        EXPECT_FALSE(reading.accepted);
        EXPECT_NE(reading.error.find("is damaged: it is not a project file of this application"),
                  std::string::npos)
            << reading.error;
    }
}

TEST(ProjectTextReadingTest, ANewerFormatIsSaidEvenWhenItsNamesAreOfAnotherKind) {
    const Reading reading = Read(R"({"formatVersion":99,"bins":{"new":"kind"}})");
    EXPECT_FALSE(reading.accepted);
    EXPECT_NE(reading.error.find("was saved by a newer version (format 99)"), std::string::npos)
        << reading.error;
}

TEST(ProjectTextReadingTest, TheReadingSaysHowFarItGotAndEndsAtTheWholeFile) {
    const testsupport::TemporaryFolder temporary{"text-reading"};
    std::vector<std::string> sequences;
    for (int index = 0; index < 20000; ++index) {
        sequences.push_back("Sequence " + std::to_string(index));
    }
    const fs::path project = testsupport::WriteProject(temporary.Path() / "Big.mvproj", sequences);
    host::ProjectReadWatch watch;
    host::ProjectContent content;
    std::string error;
    ASSERT_TRUE(host::LoadProjectContent(project, content, error, nullptr, &watch)) << error;
    EXPECT_EQ(content.sequences.size(), 20000u);
    EXPECT_EQ(watch.totalBytes.load(), fs::file_size(project));
    EXPECT_EQ(watch.readBytes.load(), fs::file_size(project));
    EXPECT_EQ(watch.parsedBytes.load(), fs::file_size(project));
}

TEST(ProjectTextReadingTest, AStoppedReadingFailsAndSaysItWasStopped) {
    std::string text = R"({"formatVersion":1,"sequences":[)";
    for (int index = 0; index < 20000; ++index) {
        text += (index == 0 ? "\"S" : ",\"S") + std::to_string(index) + "\"";
    }
    text += "]}";
    host::ProjectReadWatch watch;
    watch.stop.store(true);
    const Reading reading = Read(text, &watch);
    EXPECT_FALSE(reading.accepted);
    EXPECT_NE(reading.error.find("the reading was stopped"), std::string::npos) << reading.error;
    EXPECT_TRUE(reading.content.sequences.empty());
    // Without the stop, the same text reads whole.
    host::ProjectReadWatch going;
    EXPECT_TRUE(Read(text, &going).accepted);
}

} // namespace
