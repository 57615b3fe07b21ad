// Runs a test object as the plug-in's widgets run in the viewer: under the host's application
// object, with a settings store of its own in a temporary folder, and the engine started.
#pragma once

#include <QTemporaryDir>
#include <QtTest>

#include "PLKTypes.h"
#include "QDGui/Application.h"

#define XRV_HOST_TEST_MAIN(TestClass)                                                \
    int main(int argc, char** argv)                                                  \
    {                                                                                \
        Korvane::Application app(argc, argv);                                        \
        QTemporaryDir settingsDir;                                                   \
        Korvane::Application::setSettingsFile(settingsDir.filePath("settings.ini")); \
        PLKInit();                                                                   \
        int result = 0;                                                              \
        {                                                                            \
            TestClass test;                                                          \
            result = QTest::qExec(&test, argc, argv);                                \
        }                                                                            \
        PLKShutdown();                                                               \
        return result;                                                               \
    }
