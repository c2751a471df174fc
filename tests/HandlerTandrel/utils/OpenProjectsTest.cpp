#include "utils/OpenProjects.h"

#include "ProductionFixture.h"

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel::Utils;

class OpenProjectsTest : public testsupport::ProductionFixture {
protected:
    void SetUp() override {
        ProductionFixture::SetUp();
        scene = testsupport::WriteProject(production / "Edit" / "Scene 12.mvproj");
        titles = testsupport::WriteProject(production / "Edit" / "Gfx" / "Titles.mvprojd");
        promo = testsupport::WriteProject(production / "Promo.mvproj");
    }
    static std::vector<std::string> Paths(const std::vector<host::ProjectPtr>& projects) {
        std::vector<std::string> paths;
        for (const auto& project : projects) {
            paths.push_back(project->GetPath());
        }
        return paths;
    }
    fs::path scene;
    fs::path titles;
    fs::path promo;
};

TEST_F(OpenProjectsTest, AFolderYieldsEveryOpenProjectBelowItOnceIncludingProjectFolders) {
    testsupport::OpenProject(titles);
    testsupport::OpenProject(scene);
    testsupport::OpenProject(promo);
    const auto found = CollectOpenProjects(Ws({production / "Edit", scene}));
    EXPECT_EQ(Paths(found), (std::vector<std::string>{titles.string(), scene.string()}));
}

TEST_F(OpenProjectsTest, ClosedProjectsAndOtherFilesYieldNothing) {
    Write(production / "Edit" / "notes.txt", "notes");
    testsupport::OpenProject(promo);
    EXPECT_TRUE(
        CollectOpenProjects(Ws({production / "Edit", production / "Edit" / "notes.txt"})).empty());
}

TEST_F(OpenProjectsTest, CloseProjectsInClosesOnlyThoseUnderThePaths) {
    testsupport::OpenProject(scene);
    testsupport::OpenProject(promo);
    EXPECT_TRUE(
        CloseProjectsIn(Ws({production / "Edit"}), UnsavedChanges::kAsk, ApplyToAll::kOffer));
    EXPECT_FALSE(host::DocumentManager::Instance().Find(scene));
    EXPECT_TRUE(host::DocumentManager::Instance().Find(promo));
}

TEST_F(OpenProjectsTest, CloseProjectsNotInClosesEverythingElse) {
    testsupport::OpenProject(scene);
    testsupport::OpenProject(promo);
    testsupport::OpenProject(titles);
    EXPECT_TRUE(CloseProjectsNotIn(Ws({production / "Edit" / "Gfx"}), UnsavedChanges::kAsk,
                                   ApplyToAll::kOffer));
    EXPECT_FALSE(host::DocumentManager::Instance().Find(scene));
    EXPECT_FALSE(host::DocumentManager::Instance().Find(promo));
    EXPECT_TRUE(host::DocumentManager::Instance().Find(titles));
}

TEST_F(OpenProjectsTest, ACancelledSaveQuestionKeepsTheProjectsOpenAndAnswersFalse) {
    const auto project = testsupport::OpenProject(scene);
    auto content = project->Content();
    content.sequences.push_back("Unsaved cut");
    project->EditContent(content);
    responder->AddAnswer(2); // Cancel
    EXPECT_FALSE(CloseProjectsIn(Ws({scene}), UnsavedChanges::kAsk, ApplyToAll::kOffer));
    EXPECT_TRUE(host::DocumentManager::Instance().Find(scene));
    EXPECT_FALSE(CloseProjectsNotIn(Ws({promo}), UnsavedChanges::kAsk, ApplyToAll::kOffer));
    EXPECT_TRUE(host::DocumentManager::Instance().Find(scene));
}

TEST_F(OpenProjectsTest, SavingWithoutAskingKeepsTheChanges) {
    const auto project = testsupport::OpenProject(scene);
    auto content = project->Content();
    content.sequences.push_back("Kept cut");
    project->EditContent(content);
    EXPECT_TRUE(
        CloseProjectsIn(Ws({scene}), UnsavedChanges::kSaveWithoutAsking, ApplyToAll::kOffer));
    EXPECT_TRUE(responder->GetRequests().empty());
    EXPECT_NE(testsupport::ReadBytes(scene).find("Kept cut"), std::string::npos);
}

} // namespace
