// The one QApplication of the widget tests, made before the first test and ended after the last
// one, while Qt's own statics still live (an application ended by the exit handlers meets them
// gone).
#pragma once

#include <QApplication>

#include <gtest/gtest.h>

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

} // namespace Quillmark::testing
