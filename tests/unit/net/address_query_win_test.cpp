#include "net/address_query_win.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace harbinet {
namespace {

// The tables that the fake queries hand out.
struct FakeTables {
    MIB_IPFORWARD_TABLE2* routes = nullptr;
    int frees = 0;
    IP_ADAPTER_ADDRESSES* adapters = nullptr;
    ULONG size_result = ERROR_BUFFER_OVERFLOW;
    ULONG data_result = NO_ERROR;
    ULONG asked_family = 0;
    ULONG asked_flags = 0;
    int adapter_calls = 0;
};
FakeTables fake;

DWORD WINAPI FakeForwardTable(ADDRESS_FAMILY family, MIB_IPFORWARD_TABLE2** table) {
    if (family != AF_INET) return ERROR_INVALID_PARAMETER;
    *table = fake.routes;
    return NO_ERROR;
}

DWORD WINAPI FailingForwardTable(ADDRESS_FAMILY, MIB_IPFORWARD_TABLE2**) { return ERROR_NOT_FOUND; }

void WINAPI FakeFreeTable(void*) { ++fake.frees; }

ULONG WINAPI FakeAdapters(ULONG family, ULONG flags, void*, IP_ADAPTER_ADDRESSES* buffer,
                          ULONG* size) {
    ++fake.adapter_calls;
    fake.asked_family = family;
    fake.asked_flags = flags;
    if (buffer == nullptr) {
        *size = 4096;
        return fake.size_result;
    }
    if (fake.data_result == NO_ERROR) *buffer = *fake.adapters;
    return fake.data_result;
}

constexpr AddressQueries kFakes = {FakeForwardTable, FakeFreeTable, FakeAdapters};

class AddressQueryTest : public testing::Test {
protected:
    AddressQueryTest() { fake = {}; }
};

IP_ADAPTER_UNICAST_ADDRESS Unicast(sockaddr_storage& storage) {
    IP_ADAPTER_UNICAST_ADDRESS entry{};
    entry.Address.lpSockaddr = reinterpret_cast<SOCKADDR*>(&storage);
    entry.Address.iSockaddrLength = sizeof storage;
    return entry;
}

sockaddr_storage SocketAddress(int family, const wchar_t* text, ULONG scope_id = 0) {
    sockaddr_storage storage{};
    storage.ss_family = static_cast<ADDRESS_FAMILY>(family);
    if (family == AF_INET) {
        InetPtonW(family, text, &reinterpret_cast<sockaddr_in&>(storage).sin_addr);
    } else if (family == AF_INET6) {
        InetPtonW(family, text, &reinterpret_cast<sockaddr_in6&>(storage).sin6_addr);
        reinterpret_cast<sockaddr_in6&>(storage).sin6_scope_id = scope_id;
    }
    return storage;
}

TEST_F(AddressQueryTest, RoutesAreCopiedInTheTablesOrderAndTheTableIsFreed) {
    alignas(MIB_IPFORWARD_TABLE2)
        std::array<std::byte, sizeof(MIB_IPFORWARD_TABLE2) + sizeof(MIB_IPFORWARD_ROW2)>
            memory{};
    fake.routes = reinterpret_cast<MIB_IPFORWARD_TABLE2*>(memory.data());
    fake.routes->NumEntries = 2;
    MIB_IPFORWARD_ROW2* const rows = fake.routes->Table;
    rows[0].InterfaceLuid.Value = 0x1234567890;
    rows[0].Metric = 4294967295;
    rows[0].DestinationPrefix.Prefix.si_family = AF_INET;
    rows[0].DestinationPrefix.PrefixLength = 24;
    rows[1].InterfaceLuid.Value = 7;
    rows[1].DestinationPrefix.Prefix.si_family = AF_INET6;
    const std::vector<Route> routes = QueryIpv4Routes(kFakes);
    ASSERT_EQ(routes.size(), 2u);
    EXPECT_EQ(routes[0].luid, 0x1234567890u);
    EXPECT_EQ(routes[0].metric, 4294967295u);
    EXPECT_EQ(routes[0].prefix_length, 24);
    EXPECT_TRUE(routes[0].is_ipv4);
    EXPECT_EQ(routes[1].luid, 7u);
    EXPECT_FALSE(routes[1].is_ipv4);
    EXPECT_EQ(fake.frees, 1);
}

TEST_F(AddressQueryTest, AFailingRouteQueryGivesNoRoutes) {
    AddressQueries queries = kFakes;
    queries.forward_table = FailingForwardTable;
    EXPECT_TRUE(QueryIpv4Routes(queries).empty());
    EXPECT_EQ(fake.frees, 0);
}

TEST_F(AddressQueryTest, AdaptersAreCopiedWithTheirAddressesInOrder) {
    sockaddr_storage first = SocketAddress(AF_INET6, L"fe80::1", 12);
    sockaddr_storage second = SocketAddress(AF_INET, L"192.168.1.20");
    sockaddr_storage other = SocketAddress(AF_UNSPEC, L"");
    IP_ADAPTER_UNICAST_ADDRESS third = Unicast(second);
    IP_ADAPTER_UNICAST_ADDRESS strange = Unicast(other);
    strange.Next = &third;
    IP_ADAPTER_UNICAST_ADDRESS start = Unicast(first);
    start.Next = &strange;
    wchar_t name[] = L"Ethernet";
    wchar_t description[] = L"Controller";
    IP_ADAPTER_ADDRESSES nameless{};
    nameless.IfType = 24;
    nameless.OperStatus = IfOperStatusDown;
    IP_ADAPTER_ADDRESSES adapter{};
    adapter.Luid.Value = 99;
    adapter.IfType = 6;
    adapter.OperStatus = IfOperStatusUp;
    adapter.FriendlyName = name;
    adapter.Description = description;
    adapter.FirstUnicastAddress = &start;
    adapter.Next = &nameless;
    fake.adapters = &adapter;

    const std::vector<Adapter> adapters = QueryAdapters(AdapterFamilies::kBoth, kFakes);
    ASSERT_EQ(adapters.size(), 2u);
    EXPECT_EQ(adapters[0].luid, 99u);
    EXPECT_EQ(adapters[0].type, 6u);
    EXPECT_TRUE(adapters[0].is_up);
    EXPECT_EQ(adapters[0].friendly_name, L"Ethernet");
    EXPECT_EQ(adapters[0].description, L"Controller");
    EXPECT_EQ(AddressLines(adapters), (std::vector<std::wstring>{L"Ethernet | IPv6 fe80::1%12",
                                                                 L"Ethernet | IPv4 192.168.1.20"}));
    EXPECT_FALSE(adapters[1].is_up);
    EXPECT_EQ(adapters[1].friendly_name, L"");
    EXPECT_TRUE(adapters[1].addresses.empty());
}

TEST_F(AddressQueryTest, AsksForTheFamilyWithoutAnycastMulticastAndDnsServers) {
    IP_ADAPTER_ADDRESSES adapter{};
    fake.adapters = &adapter;
    QueryAdapters(AdapterFamilies::kIpv4, kFakes);
    EXPECT_EQ(fake.asked_family, 2u);
    EXPECT_EQ(fake.asked_flags, 14u);
    QueryAdapters(AdapterFamilies::kBoth, kFakes);
    EXPECT_EQ(fake.asked_family, 0u);
    EXPECT_EQ(fake.asked_flags, 14u);
}

TEST_F(AddressQueryTest, ASizeQuestionThatDoesNotReportATooSmallBufferGivesNothing) {
    for (const ULONG result : {ULONG{NO_ERROR}, ULONG{ERROR_NO_DATA}, ULONG{5}}) {
        fake = {};
        fake.size_result = result;
        EXPECT_TRUE(QueryAdapters(AdapterFamilies::kIpv4, kFakes).empty());
        EXPECT_EQ(fake.adapter_calls, 1);
    }
}

TEST_F(AddressQueryTest, AFailingDataQuestionGivesNothing) {
    fake.data_result = ERROR_BUFFER_OVERFLOW;
    EXPECT_TRUE(QueryAdapters(AdapterFamilies::kIpv4, kFakes).empty());
    EXPECT_EQ(fake.adapter_calls, 2);
}

TEST_F(AddressQueryTest, TheSystemKnowsItsLoopbackAdapter) {
    bool found = false;
    for (const Adapter& adapter : QueryAdapters(AdapterFamilies::kIpv4)) {
        for (const UnicastAddress& address : adapter.addresses) {
            found = found || (adapter.type == kSoftwareLoopback && address.text == L"127.0.0.1");
        }
    }
    EXPECT_TRUE(found);
}

}  // namespace
}  // namespace harbinet
