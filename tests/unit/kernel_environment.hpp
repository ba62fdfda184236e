// A started kernel for the tests of one program.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "qor/qorproc.h"

class Kernel_environment : public testing::Environment {
  public:
    void SetUp() override { QORPROC_INIT(); }
    void TearDown() override { QORPROC_TERMINATE(); }
};

inline testing::Environment *const kernel_environment = testing::AddGlobalTestEnvironment(new Kernel_environment);

// Misuse outside of a run shows its text and ends the process with 1.
#define EXPECT_ABORT(statement, text)                                                                                  \
    EXPECT_EXIT(                                                                                                       \
        {                                                                                                              \
            std::fflush(stdout);                                                                                       \
            dup2(STDERR_FILENO, STDOUT_FILENO);                                                                        \
            statement;                                                                                                 \
        },                                                                                                             \
        testing::ExitedWithCode(1), text)
