#include "Marvane/panelframework/PluginLoader.h"
#include "Marvane/panelframework/Registries.h"

#include <fstream>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

fs::path Fixture(const char* folder, const char* file) {
    return fs::path(MARVANE_FIXTURE_DIR) / folder / file;
}

TEST(PluginLoader, LoadsAWellFormedModuleAndCallsItsEntryPoint) {
    host::PluginLoader loader;
    const auto result = loader.Load(Fixture("GoodModule", "GoodModule.so"));
    EXPECT_TRUE(result.loaded) << result.error;
    EXPECT_TRUE(result.error.empty());
    ASSERT_EQ(loader.GetModules().size(), 1u);
    EXPECT_EQ(loader.GetModules().front()->GetName(), "GoodModule");
    EXPECT_NE(host::Module::FindFactory(host::FourCharCode("FxGd")), nullptr);
}

TEST(PluginLoader, ReportsAMissingFileByName) {
    host::PluginLoader loader;
    const auto result = loader.Load(Fixture("GoodModule", "Absent.so"));
    EXPECT_FALSE(result.loaded);
    EXPECT_NE(result.error.find("Absent.so"), std::string::npos) << result.error;
    EXPECT_NE(result.error.find("the file does not exist"), std::string::npos) << result.error;
}

TEST(PluginLoader, ReportsALibraryWithoutEntryPoint) {
    host::PluginLoader loader;
    const auto result = loader.Load(Fixture("NoEntryModule", "NoEntryModule.so"));
    EXPECT_FALSE(result.loaded);
    EXPECT_NE(result.error.find("NoEntryModule.so"), std::string::npos) << result.error;
    EXPECT_NE(result.error.find("has no entry point 'CreateModule'"), std::string::npos)
        << result.error;
    EXPECT_TRUE(loader.GetModules().empty());
}

TEST(PluginLoader, RefusesAModuleBuiltForAnotherInterfaceVersionAndForgetsItsFactories) {
    host::PluginLoader loader;
    const auto result = loader.Load(Fixture("WrongVersionModule", "WrongVersionModule.so"));
    EXPECT_FALSE(result.loaded);
    const std::string expected =
        "was built for host interface version " + std::to_string(host::kHostInterfaceVersion + 1) +
        "; this host supports version " + std::to_string(host::kHostInterfaceVersion);
    EXPECT_NE(result.error.find(expected), std::string::npos) << result.error;
    EXPECT_EQ(host::Module::FindFactory(host::FourCharCode("FxWv")), nullptr);
}

TEST(PluginLoader, ReportsAFileThatIsNotALibrary) {
    host::PluginLoader loader;
    const auto result = loader.Load(Fixture("NotALibrary", "NotALibrary.so"));
    EXPECT_FALSE(result.loaded);
    EXPECT_NE(result.error.find("Could not load module"), std::string::npos) << result.error;
    EXPECT_NE(result.error.find("NotALibrary.so"), std::string::npos) << result.error;
}

TEST(PluginLoader, ReportsAModuleWithAnUnresolvedSymbol) {
    host::PluginLoader loader;
    const auto result = loader.Load(Fixture("UnresolvedSymbolModule", "UnresolvedSymbolModule.so"));
    EXPECT_FALSE(result.loaded);
    EXPECT_NE(result.error.find("MarvaneFunctionThatNoHostHas"), std::string::npos) << result.error;
}

TEST(PluginLoader, LoadsAFolderInNameOrderAndGoesOnPastFailures) {
    const fs::path folder = fs::temp_directory_path() / "marvane-plugin-folder-test";
    fs::remove_all(folder);
    fs::create_directories(folder);
    fs::copy_file(Fixture("NotALibrary", "NotALibrary.so"), folder / "A-broken.so");
    fs::copy_file(Fixture("GoodModule", "GoodModule.so"), folder / "B-good.so");
    fs::copy_file(Fixture("NoEntryModule", "NoEntryModule.so"), folder / "C-noentry.so");
    { std::ofstream(folder / "README.txt") << "not a module\n"; }
    host::PluginLoader loader;
    const auto results = loader.LoadFolder(folder);
    ASSERT_EQ(results.size(), 3u);
    EXPECT_EQ(results[0].file.filename(), "A-broken.so");
    EXPECT_FALSE(results[0].loaded);
    EXPECT_EQ(results[1].file.filename(), "B-good.so");
    EXPECT_TRUE(results[1].loaded) << results[1].error;
    EXPECT_EQ(results[2].file.filename(), "C-noentry.so");
    EXPECT_FALSE(results[2].loaded);
    EXPECT_EQ(loader.GetModules().size(), 1u);
    fs::remove_all(folder);
}

TEST(PluginLoader, ReportsAMissingPluginsFolder) {
    host::PluginLoader loader;
    const auto results = loader.LoadFolder("/nonexistent/marvane/plugins");
    ASSERT_EQ(results.size(), 1u);
    EXPECT_FALSE(results[0].loaded);
    EXPECT_NE(results[0].error.find("/nonexistent/marvane/plugins"), std::string::npos);
}

TEST(PluginLoader, TheProductionPanelRegistersItsHandlerFactoryBeforeItsModuleFactory) {
    auto& registry = host::PanelFrameworkRegistry::Instance();
    const std::size_t mark = registry.RegistrationMark();
    host::PluginLoader loader;
    const auto result = loader.Load(fs::path(MARVANE_PLUGIN_DIR) / "HandlerTandrel.so");
    ASSERT_TRUE(result.loaded) << result.error;
    const auto& log = registry.GetRegistrationLog();
    ASSERT_EQ(log.size(), mark + 2);
    EXPECT_EQ(log[mark].kind, "handler");
    EXPECT_EQ(log[mark].id, host::FourCharCode("MvPF"));
    EXPECT_EQ(log[mark + 1].kind, "module");
    EXPECT_EQ(log[mark + 1].id, host::FourCharCode("MvPM"));
    ASSERT_EQ(loader.GetModules().size(), 1u);
    EXPECT_EQ(loader.GetModules().front()->GetName(), "HandlerTandrel");
}

} // namespace
