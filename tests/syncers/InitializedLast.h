#pragma once

#include "tests/model/Journal.h"

#include <string>

#include <gtest/gtest.h>

/// Whether handleInitialized() writes, and marks the reactor initialized after all its writes.
/// @param journal  follows what the reactor writes to
template <class Reactor> void expectInitializedLast(Reactor& reactor, Journal& journal) {
    SCOPED_TRACE(Reactor::_zelType.name());
    reactor.initializedIs(false);
    unsigned writes = 0;
    journal.look = [&](std::string const& line) {
        ++writes;
        EXPECT_FALSE(reactor.initialized()) << line;
    };
    reactor.handleInitialized();
    journal.look = {};
    EXPECT_GT(writes, 0U);
    EXPECT_TRUE(reactor.initialized());
}
