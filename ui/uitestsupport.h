// The one QApplication of the widget tests, made before the first test and ended after the last
// one, while Qt's own statics still live (an application ended by the exit handlers meets them
// gone).
#pragma once

#include "app/tapplication.h"
#include "ui/qtuiservices.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Quillmark::testing
{

class QtEnvironment : public ::testing::Environment
{
public:
    void SetUp() override
    {
        static int argc = 1;
        static char name[] = "ui_tests";
        static char* argv[] = {name, nullptr};
        application = new QApplication(argc, argv);
    }
    void TearDown() override
    {
        delete application;
        application = nullptr;
    }

private:
    QApplication* application = nullptr;
};

inline ::testing::Environment* const qtEnvironment =
    ::testing::AddGlobalTestEnvironment(new QtEnvironment);

/** The application of the tests, made by the environment. */
inline QApplication& qtApplication()
{
    return *static_cast<QApplication*>(QCoreApplication::instance());
}

/** The host application started the way the program starts it, with `ui` as its services and
    its data in `dataFolder`: the preferences read, exactly `folders` scanned, the start-up
    finished. Null when it cannot start; the caller releases it after ui.setApplication(null). */
inline TApplication* startApplication(QtUIServices& ui, const std::string& dataFolder,
                                      const std::vector<std::string>& folders)
{
    auto* application = new TApplication({0, "Test Standalone", dataFolder}, ui);
    ui.setApplication(application);
    if (!application->initialize())
    {
        ui.setApplication(nullptr);
        application->release();
        return nullptr;
    }
    application->initPreferences();
    application->initScan(&folders);
    application->initFinish();
    return application;
}

} // namespace Quillmark::testing
