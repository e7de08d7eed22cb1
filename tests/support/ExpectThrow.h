#pragma once

#include <exception>
#include <string>
#include <typeinfo>

#include <gtest/gtest.h>

/** Expects exactly this type and text. A derived type is a failure, because callers select handlers
 * by type. */
#define EXPECT_THROW_MSG(statement, type, message)                                                 \
    do {                                                                                           \
        bool bThrown = false;                                                                      \
        try {                                                                                      \
            statement;                                                                             \
        } catch (const std::exception &caught) {                                                   \
            bThrown = true;                                                                        \
            EXPECT_EQ(typeid(type).name(), std::string(typeid(caught).name())) << caught.what();   \
            EXPECT_EQ(std::string(message), caught.what());                                        \
        }                                                                                          \
        EXPECT_TRUE(bThrown) << #statement " threw nothing";                                       \
    } while (false)
