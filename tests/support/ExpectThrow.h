#pragma once

#include <exception>
#include <string>
#include <typeinfo>

#include <gtest/gtest.h>

/**
 * Expects the statement to throw exactly the type with exactly the text; a derived type is a
 * failure, since callers choose their handlers by type.
 */
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
