#include "Marvane/panelframework/PluginLoader.h"
#include "Marvane/panelframework/Registries.h"

#include "TemporaryFolder.h"

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
    const testsupport::TemporaryFolder temporary("plugin-folder");
    const fs::path folder = temporary.Path();
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
}

TEST(PluginLoader, ReportsAModuleThatDoesNotStateItsVersion) {
    host::PluginLoader loader;
    const auto result = loader.Load(Fixture("NoVersionModule", "NoVersionModule.so"));
    EXPECT_FALSE(result.loaded);
    EXPECT_NE(result.error.find("does not state its host interface version"), std::string::npos)
        << result.error;
}

TEST(PluginLoader, ReportsAnEntryPointThatMakesNoModule) {
    host::PluginLoader loader;
    const auto result = loader.Load(Fixture("NullModule", "NullModule.so"));
    EXPECT_FALSE(result.loaded);
    EXPECT_NE(result.error.find("NullModule.so' made no module object"), std::string::npos)
        << result.error;
    EXPECT_TRUE(loader.GetModules().empty());
}

TEST(PluginLoader, ReportsAnEntryPointThatThrowsWithItsReason) {
    host::PluginLoader loader;
    const auto result = loader.Load(Fixture("ThrowingModule", "ThrowingModule.so"));
    EXPECT_FALSE(result.loaded);
    EXPECT_NE(result.error.find("failed in 'CreateModule': the fixture refuses to start"),
              std::string::npos)
        << result.error;
}

host::Module* FirstFactory(const host::ByteString& name) {
    return new host::Module("first " + name);
}
host::Module* SecondFactory(const host::ByteString& name) {
    return new host::Module("second " + name);
}

TEST(PanelFrameworkRegistry, RollingBackAFailedLoadRestoresTheFactoriesItReplaced) {
    auto& registry = host::PanelFrameworkRegistry::Instance();
    const host::ModuleID id = host::FourCharCode("RbMd");
    const host::HandlerID handlerID = host::FourCharCode("RbHd");
    registry.AddModuleFactory(id, &FirstFactory);
    // Factories stay in the process-wide registry after the test: they hold no locals.
    static int firstHandlerCalls = 0;
    firstHandlerCalls = 0;
    registry.AddHandlerFactory(handlerID, [](const host::HandlerCreationContext&) {
        ++firstHandlerCalls;
        return std::shared_ptr<host::Handler>();
    });
    const std::size_t mark = registry.RegistrationMark();
    registry.AddModuleFactory(id, &SecondFactory);
    registry.AddHandlerFactory(handlerID, [](const host::HandlerCreationContext&) {
        return std::shared_ptr<host::Handler>();
    });
    registry.AddModuleFactory(host::FourCharCode("RbNw"), &SecondFactory);
    EXPECT_EQ(registry.FindModuleFactory(id), &SecondFactory);
    registry.RollBackTo(mark);
    EXPECT_EQ(registry.RegistrationMark(), mark);
    EXPECT_EQ(registry.FindModuleFactory(id), &FirstFactory);
    EXPECT_EQ(registry.FindModuleFactory(host::FourCharCode("RbNw")), nullptr);
    registry.CreateRegisteredHandlers();
    EXPECT_EQ(firstHandlerCalls, 1);
}

TEST(PanelFrameworkRegistry, AHandlerFactoryThatThrowsDoesNotStopTheOthers) {
    auto& registry = host::PanelFrameworkRegistry::Instance();
    registry.AddHandlerFactory(
        host::FourCharCode("ThHd"),
        [](const host::HandlerCreationContext&) -> std::shared_ptr<host::Handler> {
            throw std::runtime_error("handler refuses");
        });
    static bool laterCalled = false;
    laterCalled = false;
    registry.AddHandlerFactory(host::FourCharCode("LtHd"), [](const host::HandlerCreationContext&) {
        laterCalled = true;
        return std::shared_ptr<host::Handler>();
    });
    EXPECT_NO_THROW(registry.CreateRegisteredHandlers());
    EXPECT_TRUE(laterCalled);
    EXPECT_EQ(host::Handler::FindHandler(host::FourCharCode("ThHd")), nullptr);
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
    EXPECT_EQ(log[mark].kind, host::FactoryKind::Handler);
    EXPECT_EQ(log[mark].id, host::FourCharCode("MvPF"));
    EXPECT_EQ(log[mark + 1].kind, host::FactoryKind::Module);
    EXPECT_EQ(log[mark + 1].id, host::FourCharCode("MvPM"));
    ASSERT_EQ(loader.GetModules().size(), 1u);
    EXPECT_EQ(loader.GetModules().front()->GetName(), "HandlerTandrel");
}

} // namespace
