// What an application does to the log of the process.

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/application_config.h"
#include "kr/events/errors/error_handler.h"
#include "kr/events/errors/error_manager.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/platform/log.h"
#include "kr/platform/runtime_error.h"
#include "tests/support/log_capture.h"
#include "tests/support/process_settings.h"

namespace application_log_test {

using Kr::eLogLevel;
using KrSim::KrApplication;
using KrSim::KrErrorHandler;
using testing::ElementsAre;
using testing::HasSubstr;

/// Whether an error that is logged throws, as it does while the error handler is behind the log.
bool doErrorsThrow() {
    testing::internal::CaptureStderr();
    bool isThrown = false;
    try {
        Kr::logMessage(eLogLevel::kError, "tested\n");
    } catch (const KrSim::KrRuntimeError&) {
        isThrown = true;
    }
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::MatchesRegex("[^\n]* - ERROR - tested\n"))
        << "printed once, whatever the handler is";
    return isThrown;
}

class ApplicationLog : public testing::Test {
protected:
    const test_support::ProcessSettings process;
};

TEST_F(ApplicationLog, HasTheErrorHandlerWhileAnyApplicationLives) {
    EXPECT_FALSE(doErrorsThrow());
    auto first = KrApplication::create();
    EXPECT_TRUE(doErrorsThrow());
    auto second = KrApplication::create();
    first.reset();
    EXPECT_TRUE(doErrorsThrow());
    second.reset();
    EXPECT_FALSE(doErrorsThrow());
}

TEST_F(ApplicationLog, LeavesTheErrorHandlerOfAHost) {
    auto application = KrApplication::create();
    KrErrorHandler::Register();
    application.reset();
    EXPECT_TRUE(doErrorsThrow()) << "the host has installed it, too";
    application = KrApplication::create();
    KrErrorHandler::Unregister();
    EXPECT_FALSE(doErrorsThrow()) << "the host has the last word";
}

TEST_F(ApplicationLog, LeavesAnotherHandlerOfAHost) {
    Kr::KrSmartPtr<KrApplication> application;
    {
        const test_support::LogCapture before;
        application = KrApplication::create();
        EXPECT_NO_THROW(Kr::logMessage(eLogLevel::kError, "tested\n"));
        EXPECT_THAT(before.lines(), ElementsAre("2 tested\n"));
    }
    application = KrApplication::create();
    EXPECT_TRUE(doErrorsThrow());
    {
        const test_support::LogCapture after;
        application.reset();
        Kr::logMessage(eLogLevel::kError, "tested\n");
        EXPECT_THAT(after.lines(), ElementsAre("2 tested\n"));
    }
    EXPECT_FALSE(doErrorsThrow()) << "its application has ended";
    application = KrApplication::create();
    EXPECT_TRUE(doErrorsThrow());
}

TEST_F(ApplicationLog, IsNotPrintedWhereASetupSaysSo) {
    const auto application = KrApplication::create();
    const auto extension = KrSim::KrExtensionFactory::create(KrSim::ApplicationConfig::kFactoryKey);
    auto* setup = extension->getImplementationAs<KrSim::ApplicationConfig>();
    setup->logConsole = false;
    ASSERT_TRUE(application->applySetup(KrSim::KrSmartInterface<KrSim::ApplicationConfig>(setup)));
    testing::internal::CaptureStderr();
    Kr::logMessage(eLogLevel::kWarn, "tested\n");
    application->enableConsoleLog(true);
    Kr::logMessage(eLogLevel::kWarn, "tested again\n");
    const auto printed = testing::internal::GetCapturedStderr();
    EXPECT_THAT(printed, HasSubstr("WARN - tested again\n"));
    EXPECT_THAT(printed, testing::Not(HasSubstr("WARN - tested\n")));
}

}  // namespace application_log_test
