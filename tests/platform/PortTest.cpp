#include "platform/stp/Port.h"
#include "platform/stp/Config.h"
#include "platform/stp/MstPortSm.h"
#include "platform/stp/PortConfig.h"
#include "platform/stp/StpiPortStatus.h"

#include "framework/zel/Exception.h"
#include "tests/framework/AttributeTest.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/platform/Text.h"

#include <gtest/gtest.h>

namespace {

using Kolvu::EthAddr;
using Stp::BpduFilter;

template <class T> Zel::U64 alive() { return T::_zelType.allocations().liveCount(); }

TEST(MstPortSm, GivesThePortsOwnAddress) {
    Stp::Port::Ptr port(new Stp::Port);
    port->ethAddrIs(EthAddr(0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c));
    const Stp::MstPortSm::Ptr machine(new Stp::MstPortSm(port));
    EXPECT_EQ(machine->port(), port);
    EXPECT_EQ(machine->port()->ethAddr(), EthAddr(0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c));
}

TEST(MstPortSm, KeepsItsPortAliveAndLetsItGo) {
    const Zel::U64 ports = alive<Stp::Port>();
    const Zel::U64 machines = alive<Stp::MstPortSm>();
    Stp::MstPortSm::Ptr machine(new Stp::MstPortSm(Stp::Port::Ptr(new Stp::Port)));
    EXPECT_EQ(alive<Stp::Port>(), ports + 1);
    EXPECT_EQ(machine->port()->ethAddr(), EthAddr());
    machine = nullptr;
    EXPECT_EQ(alive<Stp::Port>(), ports);
    EXPECT_EQ(alive<Stp::MstPortSm>(), machines);
}

TEST(MstPortSm, RefusesToBeWithoutAPort) {
    const Zel::U64 machines = alive<Stp::MstPortSm>();
    EXPECT_THROW(new Stp::MstPortSm(nullptr), Zel::RangeException);
    EXPECT_EQ(alive<Stp::MstPortSm>(), machines);
}

TEST(PortConfig, FollowsTheDefaultAndIsNoEdgePortUntilSetOtherwise) {
    Zel::Ptr<Stp::PortConfig> config(new Stp::PortConfig);
    EXPECT_EQ(config->bpduFilter(), BpduFilter::notSet);
    EXPECT_FALSE(config->adminEdge());
    config->bpduFilterIs(BpduFilter::disabled);
    config->adminEdgeIs(true);
    const Zel::Ptr<Stp::PortConfig const> readOnly = config;
    EXPECT_EQ(readOnly->bpduFilter(), BpduFilter::disabled);
    EXPECT_TRUE(readOnly->adminEdge());
}

TEST(BpduFilter, IsThirtyTwoBitsNumberedFromNotSet) {
    EXPECT_EQ(sizeof(BpduFilter), 4U);
    EXPECT_EQ(BpduFilter(), BpduFilter::notSet);
    EXPECT_EQ(static_cast<Zel::U32>(BpduFilter::enabled), 1U);
    EXPECT_EQ(static_cast<Zel::U32>(BpduFilter::disabled), 2U);
}

TEST(BpduFilter, PrintsItsNameOrElseItsNumber) {
    EXPECT_EQ(textOf(BpduFilter::notSet), "notSet");
    EXPECT_EQ(textOf(BpduFilter::enabled), "enabled");
    EXPECT_EQ(textOf(BpduFilter::disabled), "disabled");
    EXPECT_EQ(textOf(static_cast<BpduFilter>(4000000000)), "4000000000");
}

TEST(StpiPortStatus, IsNoEdgePortUntilSetOtherwise) {
    Zel::Ptr<Stp::StpiPortStatus> status(new Stp::StpiPortStatus);
    EXPECT_FALSE(status->operEdge());
    status->operEdgeIs(true);
    EXPECT_TRUE(status->operEdge());
}

TEST(Config, DoesNotFilterOnEdgePortsUntilSetOtherwise) {
    Zel::Ptr<Stp::Config> config(new Stp::Config);
    EXPECT_FALSE(config->edgePortBpduFilter());
    config->edgePortBpduFilterIs(true);
    EXPECT_TRUE(config->edgePortBpduFilter());
}

TEST(PlatformTypes, StoreThenNotifyAlsoForAnEqualValue) {
    using namespace Stp;
    const EthAddr address(0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c);
    expectEachWriteStoresThenNotifies(Port::Ptr(new Port), 258, &Port::ethAddr, &Port::ethAddrIs,
                                      address);
    const Zel::Ptr config(new PortConfig);
    expectEachWriteStoresThenNotifies(config, 258, &PortConfig::bpduFilter,
                                      &PortConfig::bpduFilterIs, BpduFilter::enabled);
    expectEachWriteStoresThenNotifies(config, 259, &PortConfig::adminEdge, &PortConfig::adminEdgeIs,
                                      true);
    expectEachWriteStoresThenNotifies(Zel::Ptr(new StpiPortStatus), 258, &StpiPortStatus::operEdge,
                                      &StpiPortStatus::operEdgeIs, true);
    expectEachWriteStoresThenNotifies(Zel::Ptr(new Config), 258, &Config::edgePortBpduFilter,
                                      &Config::edgePortBpduFilterIs, true);
}

TEST(PlatformTypes, GiveTheirMemoryBack) {
    const auto leaves = [](auto make) {
        const std::ptrdiff_t before = FailingAllocation::outstanding();
        make();
        return FailingAllocation::outstanding() - before;
    };
    EXPECT_EQ(leaves([] { Zel::Ptr(new Stp::Port); }), 0);
    EXPECT_EQ(leaves([] { Zel::Ptr(new Stp::MstPortSm(Stp::Port::Ptr(new Stp::Port))); }), 0);
    EXPECT_EQ(leaves([] { Zel::Ptr(new Stp::PortConfig); }), 0);
    EXPECT_EQ(leaves([] { Zel::Ptr(new Stp::StpiPortStatus); }), 0);
    EXPECT_EQ(leaves([] { Zel::Ptr(new Stp::Config); }), 0);
}

TEST(PlatformTypes, AreRegisteredUnderTheirNames) {
    EXPECT_EQ(Zel::typeNode("Stp::Port"), &Stp::Port::_zelType);
    EXPECT_EQ(Zel::typeNode("Stp::MstPortSm"), &Stp::MstPortSm::_zelType);
    EXPECT_EQ(Zel::typeNode("Stp::PortConfig"), &Stp::PortConfig::_zelType);
    EXPECT_EQ(Zel::typeNode("Stp::StpiPortStatus"), &Stp::StpiPortStatus::_zelType);
    EXPECT_EQ(Zel::typeNode("Stp::Config"), &Stp::Config::_zelType);
}

} // namespace
