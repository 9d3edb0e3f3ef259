#include "net/address_choice.h"

#include <gtest/gtest.h>

#include "net/addresses.h"

namespace harbinet {
namespace {

using Lines = std::vector<std::wstring>;

UnicastAddress Ipv4(std::wstring text) {
    return {UnicastAddress::Family::kIpv4, std::move(text), 0};
}

UnicastAddress Ipv6(std::wstring text, std::uint32_t scope_id = 0) {
    return {UnicastAddress::Family::kIpv6, std::move(text), scope_id};
}

Adapter Up(std::uint64_t luid, std::uint32_t type, std::wstring name,
           std::vector<UnicastAddress> addresses) {
    return {luid, type, true, std::move(name), L"Network Controller", std::move(addresses)};
}

Route Default(std::uint64_t luid, std::uint32_t metric) { return {luid, metric, 0, true}; }

const Adapter kWifi = Up(1, kWireless, L"Wi-Fi", {Ipv4(L"192.168.1.20")});
const Adapter kLan = Up(2, kEthernet, L"Ethernet", {Ipv4(L"192.168.1.30")});
const Adapter kVpnAdapter = Up(3, 53, L"Work VPN", {Ipv4(L"10.8.0.2")});
const Adapter kModem = Up(4, 243, L"Mobile", {Ipv4(L"100.64.0.9")});

struct ChoiceCase {
    const char* name;
    std::vector<Route> routes;
    std::vector<Adapter> adapters;
    std::wstring expected;
};

std::vector<ChoiceCase> ChoiceCases() {
    Adapter down = kLan;
    down.is_up = false;
    Adapter down_twin = kLan;
    down_twin.is_up = false;
    down_twin.addresses = {Ipv4(L"192.168.9.9")};
    const Adapter link_local = Up(5, kEthernet, L"Ethernet 2", {Ipv4(L"169.254.7.7")});
    const Adapter company = Up(6, kEthernet, L"Company network", {Ipv4(L"172.16.0.5")});
    const Adapter many = Up(7, kEthernet, L"Ethernet 3",
                            {Ipv6(L"fe80::1", 7), Ipv4(L"0.0.0.0"), Ipv4(L"169.254.1.1"), Ipv4(L""),
                             Ipv4(L"10.0.0.7"), Ipv4(L"10.0.0.8")});
    const Adapter only_ipv6 = Up(8, kEthernet, L"Ethernet 4", {Ipv6(L"2001:db8::1")});
    const Adapter ppp = Up(9, kPpp, L"Dial-up", {Ipv4(L"10.9.0.1")});
    const Adapter tunnel = Up(10, kTunnel, L"Six", {Ipv4(L"10.10.0.1")});
    return {
        {"NoRoutes", {}, {kWifi}, L""},
        {"NoAdapters", {Default(1, 10)}, {}, L""},
        {"OneDefaultRoute", {Default(1, 10)}, {kWifi}, L"192.168.1.20"},
        {"NoDefaultRoute", {{1, 10, 24, true}, {1, 10, 32, true}}, {kWifi}, L""},
        {"Ipv6DefaultRoute", {{1, 10, 0, false}}, {kWifi}, L""},
        {"LowerMetricWins", {Default(1, 50), Default(2, 10)}, {kWifi, kLan}, L"192.168.1.30"},
        {"AdapterOrderDoesNotMatter",
         {Default(1, 50), Default(2, 10)},
         {kLan, kWifi},
         L"192.168.1.30"},
        {"EqualMetricsKeepTheTablesOrder",
         {Default(2, 10), Default(1, 10)},
         {kWifi, kLan},
         L"192.168.1.30"},
        {"EqualMetricsKeepTheTablesOrderTheOtherWay",
         {Default(1, 10), Default(2, 10)},
         {kLan, kWifi},
         L"192.168.1.20"},
        {"MetricsAreUnsigned",
         {Default(1, 0xFFFFFFFF), Default(2, 1)},
         {kWifi, kLan},
         L"192.168.1.30"},
        {"MetricAboveTheSignBitIsTheLarger",
         {Default(1, 0x80000000), Default(2, 0x7FFFFFFF)},
         {kWifi, kLan},
         L"192.168.1.30"},
        {"WifiBeforeVpnWithLowerMetric",
         {Default(3, 1), Default(1, 50)},
         {kVpnAdapter, kWifi},
         L"192.168.1.20"},
        {"OnlyVpn", {Default(3, 1)}, {kVpnAdapter}, L"10.8.0.2"},
        {"FirstOfTwoVpns", {Default(3, 5), Default(9, 1)}, {kVpnAdapter, ppp}, L"10.9.0.1"},
        {"PhysicalBeforePlainWithLowerMetric",
         {Default(4, 1), Default(2, 50)},
         {kModem, kLan},
         L"192.168.1.30"},
        {"PlainBeforeVpn", {Default(3, 1), Default(4, 50)}, {kVpnAdapter, kModem}, L"100.64.0.9"},
        {"OnlyPlain", {Default(4, 1)}, {kModem}, L"100.64.0.9"},
        {"CompanyCountsAsVirtual",
         {Default(6, 1), Default(1, 50)},
         {company, kWifi},
         L"192.168.1.20"},
        {"CompanyAlone", {Default(6, 1)}, {company}, L"172.16.0.5"},
        {"TunnelTypeIsVirtual", {Default(10, 1), Default(4, 9)}, {tunnel, kModem}, L"100.64.0.9"},
        {"DownAdapterIsSkipped", {Default(2, 1), Default(1, 50)}, {down, kWifi}, L"192.168.1.20"},
        {"OnlyDownAdapter", {Default(2, 1)}, {down}, L""},
        {"DownTwinOfTheSameLuid", {Default(2, 1)}, {down_twin, kLan}, L"192.168.1.30"},
        {"UnknownLuidIsSkipped", {Default(77, 1), Default(1, 50)}, {kWifi}, L"192.168.1.20"},
        {"LinkLocalIsSkipped",
         {Default(5, 1), Default(3, 50)},
         {link_local, kVpnAdapter},
         L"10.8.0.2"},
        {"OnlyLinkLocal", {Default(5, 1)}, {link_local}, L""},
        {"FirstUsableOfManyAddresses", {Default(7, 1)}, {many}, L"10.0.0.7"},
        {"AdapterWithoutIpv4IsSkipped",
         {Default(8, 1), Default(4, 2)},
         {only_ipv6, kModem},
         L"100.64.0.9"},
        {"RoutesOfOtherPrefixesAreIgnored",
         {{2, 0, 8, true}, Default(1, 50)},
         {kLan, kWifi},
         L"192.168.1.20"},
    };
}

class ChooseAddressTest : public testing::TestWithParam<ChoiceCase> {};

TEST_P(ChooseAddressTest, PicksTheReachableAddress) {
    EXPECT_EQ(ChooseAddress(GetParam().routes, GetParam().adapters), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Tables, ChooseAddressTest, testing::ValuesIn(ChoiceCases()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(VpnTest, EveryKeywordCountsInEitherNameAndInAnyCase) {
    for (const wchar_t* word :
         {L"vpn",        L"wireguard",     L"openvpn",      L"wintun",  L"tunnel",
          L"tap",        L"tailscale",     L"zerotier",     L"hamachi", L"forticlient",
          L"anyconnect", L"globalprotect", L"pulse secure", L"citrix",  L"checkpoint",
          L"juniper",    L"palo alto",     L"pan",          L"secure",  L"virtual",
          L"vmware",     L"hyper-v",       L"virtualbox",   L"ndis",    L"ppp"}) {
        const std::wstring name = std::wstring(L"My ") + word + L" 2";
        std::wstring upper = name;
        for (wchar_t& c : upper) c = c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - 32) : c;
        EXPECT_TRUE(IsVpnOrVirtual({1, kEthernet, true, name, L"", {}}));
        EXPECT_TRUE(IsVpnOrVirtual({1, kEthernet, true, L"", name, {}}));
        EXPECT_TRUE(IsVpnOrVirtual({1, kWireless, true, upper, L"Realtek", {}}));
        EXPECT_TRUE(IsVpnOrVirtual({1, kWireless, true, L"Ethernet", upper, {}}));
    }
}

TEST(VpnTest, OrdinaryNamesAndEmptyOnesDoNotCount) {
    for (const wchar_t* name : {L"", L"Ethernet", L"Wi-Fi", L"Realtek PCIe GbE Family Controller",
                                L"v p n", L"pulse", L"Hyper V", L"palo-alto"}) {
        EXPECT_FALSE(IsVpnOrVirtual({1, kEthernet, true, name, name, {}}));
    }
}

TEST(VpnTest, ThreeInterfaceTypesAlwaysCount) {
    for (const std::uint32_t type : {23U, 24U, 131U}) {
        EXPECT_TRUE(IsVpnOrVirtual({1, type, true, L"Ethernet", L"", {}})) << type;
    }
    for (const std::uint32_t type : {1U, 6U, 22U, 25U, 53U, 71U, 130U, 132U, 243U}) {
        EXPECT_FALSE(IsVpnOrVirtual({1, type, true, L"Ethernet", L"", {}})) << type;
    }
}

TEST(FirstUsableIpv4Test, KeepsAddressesThatOnlyLookLikeTheSkippedOnes) {
    EXPECT_EQ(FirstUsableIpv4(Up(1, 6, L"", {Ipv4(L"169.25.4.1")})), L"169.25.4.1");
    EXPECT_EQ(FirstUsableIpv4(Up(1, 6, L"", {Ipv4(L"10.169.254.1")})), L"10.169.254.1");
    EXPECT_EQ(FirstUsableIpv4(Up(1, 6, L"", {Ipv4(L"0.0.0.1")})), L"0.0.0.1");
    EXPECT_EQ(FirstUsableIpv4(Up(1, 6, L"", {})), L"");
}

TEST(AddressLinesTest, OneLinePerAddressInTheSystemsOrder) {
    Adapter down = kLan;
    down.is_up = false;
    const std::vector<Adapter> adapters = {
        Up(1, kEthernet, L"Ethernet",
           {Ipv6(L"fe80::1", 12), Ipv4(L"192.168.1.2"), Ipv6(L"2001:db8::5"), Ipv4(L"")}),
        Up(2, kSoftwareLoopback, L"Loopback", {Ipv4(L"127.0.0.1")}),
        down,
        Up(3, kTunnel, L"", {Ipv4(L"169.254.3.4"), Ipv4(L"0.0.0.0")}),
        Up(4, kWireless, L"Wi-Fi", {}),
    };
    EXPECT_EQ(AddressLines(adapters), (Lines{
                                          L"Ethernet | IPv6 fe80::1%12",
                                          L"Ethernet | IPv4 192.168.1.2",
                                          L"Ethernet | IPv6 2001:db8::5",
                                          L"(unknown) | IPv4 169.254.3.4",
                                          L"(unknown) | IPv4 0.0.0.0",
                                      }));
}

TEST(AddressLinesTest, ScopeIsUnsignedDecimal) {
    EXPECT_EQ(AddressLines({Up(1, 6, L"E", {Ipv6(L"fe80::2", 4294967295)})}),
              Lines{L"E | IPv6 fe80::2%4294967295"});
}

TEST(Ipv4ChoicesTest, SortedAsTextsWithoutDuplicates) {
    EXPECT_EQ(Ipv4Choices({L"B | IPv4 192.168.1.9", L"A | IPv4 10.0.0.2", L"A | IPv6 fe80::1%4",
                           L"C | IPv4 192.168.1.9", L"D | IPv4 192.168.1.10", L"E | IPv4 9.0.0.1"}),
              (Lines{L"10.0.0.2", L"192.168.1.10", L"192.168.1.9", L"9.0.0.1"}));
}

TEST(Ipv4ChoicesTest, LeavesOutAddressesNobodyCanReach) {
    EXPECT_EQ(Ipv4Choices({L"A | IPv4 0.0.0.0", L"A | IPv4 169.254.10.1", L"A | IPv4 169.25.4.1"}),
              Lines{L"169.25.4.1"});
    EXPECT_EQ(Ipv4Choices({L"no marker", L"A |IPv4 10.0.0.1", L""}), Lines{});
}

// A system whose tables the test sets.
struct FakeSystem {
    std::vector<Route> routes;
    std::vector<Adapter> adapters;
    int adapter_queries = 0;

    Addresses::Source Source() {
        const auto list = [this] {
            ++adapter_queries;
            return adapters;
        };
        return {[this] { return routes; }, list, list};
    }
};

TEST(AddressesTest, NoNetworkGivesLocalhostAndALoopbackCertificate) {
    FakeSystem system;
    Addresses addresses(system.Source());
    EXPECT_EQ(addresses.AutomaticAddress(), L"");
    EXPECT_EQ(addresses.HostForUrl(), L"localhost");
    EXPECT_EQ(addresses.CertificateAddress(), L"127.0.0.1");
    EXPECT_EQ(system.adapter_queries, 0);
}

TEST(AddressesTest, HostForUrlDoesNotRunTheChoice) {
    FakeSystem system{{Default(1, 1)}, {kWifi}};
    Addresses addresses(system.Source());
    EXPECT_EQ(addresses.HostForUrl(), L"localhost");
    EXPECT_EQ(addresses.CachedAutomaticAddress(), L"");
    EXPECT_EQ(addresses.AutomaticAddress(), L"192.168.1.20");
    EXPECT_EQ(addresses.HostForUrl(), L"192.168.1.20");
}

TEST(AddressesTest, AChoiceThatFindsNothingKeepsTheCachedAddress) {
    FakeSystem system{{Default(1, 1)}, {kWifi}};
    Addresses addresses(system.Source());
    addresses.AutomaticAddress();
    system.adapters.clear();
    EXPECT_EQ(addresses.AutomaticAddress(), L"");
    EXPECT_EQ(addresses.CachedAutomaticAddress(), L"192.168.1.20");
    system.routes.clear();
    EXPECT_EQ(addresses.AutomaticAddress(), L"");
    EXPECT_EQ(addresses.HostForUrl(), L"192.168.1.20");
    EXPECT_EQ(addresses.CertificateAddress(), L"192.168.1.20");
}

TEST(AddressesTest, ThePreferredAddressChangesTheUrlButNotTheCertificate) {
    FakeSystem system{{Default(1, 1)}, {kWifi}};
    Addresses addresses(system.Source());
    addresses.SetPreferredAddress(L"10.1.2.3");
    EXPECT_EQ(addresses.PreferredAddress(), L"10.1.2.3");
    EXPECT_EQ(addresses.HostForUrl(), L"10.1.2.3");
    EXPECT_EQ(addresses.CertificateAddress(), L"192.168.1.20");
    addresses.SetPreferredAddress(L"");
    EXPECT_EQ(addresses.HostForUrl(), L"192.168.1.20");
}

TEST(AddressesTest, TheCertificateAddressIsTheCachedOneEvenAfterTheNetworkChanged) {
    FakeSystem system{{Default(1, 1), Default(2, 2)}, {kWifi}};
    Addresses addresses(system.Source());
    EXPECT_EQ(addresses.CertificateAddress(), L"192.168.1.20");
    system.adapters = {kLan};
    EXPECT_EQ(addresses.CertificateAddress(), L"192.168.1.20");
    EXPECT_EQ(addresses.AutomaticAddress(), L"192.168.1.30");
    EXPECT_EQ(addresses.CertificateAddress(), L"192.168.1.30");
}

TEST(AddressesTest, TwoAdaptersWithTheSameAddressGiveOneChoice) {
    Adapter twin = kWifi;
    twin.luid = 9;
    FakeSystem system{{}, {kWifi, twin, kLan}};
    const Addresses addresses(system.Source());
    EXPECT_EQ(addresses.AddressList(),
              (Lines{L"Wi-Fi | IPv4 192.168.1.20", L"Wi-Fi | IPv4 192.168.1.20",
                     L"Ethernet | IPv4 192.168.1.30"}));
    EXPECT_EQ(addresses.Ipv4Choices(), (Lines{L"192.168.1.20", L"192.168.1.30"}));
}

}  // namespace
}  // namespace harbinet
