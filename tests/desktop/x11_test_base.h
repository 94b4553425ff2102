#pragma once
// The fixture every desktop test suite starts from: one virtual X server and one Qt
// application (for reading windows back) for the whole suite.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <QGuiApplication>
#include <memory>
#include <string>

#include "x11_session.h"

class X11Test : public ::testing::Test {
   protected:
    static void SetUpTestSuite() {
        display_ = StartXServer(&why_);
        if (display_.empty()) return;
        setenv("DISPLAY", display_.c_str(), 1);
        static int argc = 1;
        static char name[] = "desktop_tests";
        static char* argv[] = {name, nullptr};
        app_ = std::make_unique<QGuiApplication>(argc, argv);
    }
    static void TearDownTestSuite() {
        app_.reset();
        StopXServer();
    }

    static inline std::string display_, why_;
    static inline std::unique_ptr<QGuiApplication> app_;
};
