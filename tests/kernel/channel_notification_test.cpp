// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Each kind of notification, byte for byte as the kernel gets it.
#include "tests/kernel/channel_fixture.h"
#include "tests/support/capture.h"
#include "tresk_extend.h"

#include <array>
#include <cstdlib>

namespace tresk::test {

namespace {

const std::string kLongName(1000, 'm');
const std::string kFullData(1000, '\xFE');
const std::string kSeventyCharacters = kHash + "!+++++";

// --- what is sent ---

struct Sent {
    const char* name;
    int (*notify)();
    std::uint16_t type;
    std::string payload;
};

void PrintTo(const Sent& sent, std::ostream* out)
{
    *out << sent.name;
}

class SentNotificationTest : public ChannelTest, public testing::WithParamInterface<Sent> {};

TEST_P(SentNotificationTest, ArrivesByteForByte)
{
    load();
    EXPECT_EQ(GetParam().notify(), 0);
    const KernelRecord record = only_record();
    EXPECT_EQ(record.port, own_thread_id());
    EXPECT_EQ(record.bytes, message_bytes(GetParam().type, own_thread_id(), GetParam().payload));
    expect_no_log();
}

const std::array kSent = {
    Sent{"Hash", [] { return tresk_hash_communicate_with_kernel(7, kHash.c_str(), 0x04030201); }, 7,
         "\x01\x02\x03\x04" + kHash},
    Sent{"HashOfMoreThanSixtyFiveCharacters",
         [] { return tresk_hash_communicate_with_kernel(7, kSeventyCharacters.c_str(), 0xFFFFFFFF); }, 7,
         "\xFF\xFF\xFF\xFF" + kHash + "!"},
    Sent{"ShortHash", [] { return tresk_hash_communicate_with_kernel(7, "abc", 0x61626364); }, 7, "dcbaabc"},
    Sent{"EmptyHash", [] { return tresk_hash_communicate_with_kernel(7, "", 0x64); }, 7, "d"},
    Sent{"TypeByItsLowSixteenBits",
         [] { return tresk_hash_communicate_with_kernel(0xABCD1234, "x", 0x64646464); }, 0x1234, "ddddx"},
    Sent{"Netctl", [] { return tresk_netctl_communicate_with_kernel(3, kHash.c_str(), 0x20202020); }, 3,
         "    " + kHash},
    Sent{"Ppro", [] { return tresk_ppro_communicate_with_kernel(9, kHash.c_str(), 0x31313131); }, 9,
         "1111" + kHash},
    Sent{"PproOfTheSmSide",
         [] { return tresk_ppro_communicate_with_kernel_sm(9, kHash.c_str(), 0x32323232); }, 9,
         "2222" + kHash},
    Sent{"PproOfASource",
         [] { return tresk_ppro_communicate_with_kernel_zdk(11, kHash.c_str(), 0x33333333, 0, "source"); },
         11, "3333" + kHash},
    Sent{"PproForgotten", [] { return tresk_ppro_communicate_with_kernel(10, kHash.c_str(), 0x34343434); },
         10, "4444" + kHash},
    Sent{"Pblk", [] { return tresk_pblk_communicate_with_kernel(19, kHash.c_str()); }, 19, kHash},
    Sent{"PblkOfMoreThanSixtyFiveCharacters",
         [] { return tresk_pblk_communicate_with_kernel(19, kSeventyCharacters.c_str()); }, 19, kHash + "!"},
    Sent{"PblkOfASource",
         [] { return tresk_pblk_communicate_with_kernel_zdk(21, kHash.c_str(), 5, "source"); }, 21, kHash},
    Sent{"PblkForgotten", [] { return tresk_pblk_communicate_with_kernel(20, kHash.c_str()); }, 20, kHash},
    Sent{"Devctl", [] { return tresk_devctl_communicate_with_kernel(40, "\0a\xFF\0\n%s\0", 8); }, 40,
         std::string("\0a\xFF\0\n%s\0", 8)},
    Sent{"DevctlWithoutBytes", [] { return tresk_devctl_communicate_with_kernel(40, "ignored", 0); }, 40, ""},
    Sent{"DevctlOfThousandBytes",
         [] { return tresk_devctl_communicate_with_kernel(40, kFullData.data(), 1000); }, 40, kFullData},
    Sent{"KmodOfTheSmSide", [] { return tresk_kmod_communicate_with_kernel_sm(9, "snd"); }, 9, "snd"},
    Sent{"KmodOfASource", [] { return tresk_kmod_communicate_with_kernel_zdk(9, "snd", 0, "more"); }, 9,
         "snd"},
    Sent{"KmodOfThousandCharacters",
         [] { return tresk_kmod_communicate_with_kernel_sm(9, kLongName.c_str()); }, 9, kLongName},
};

INSTANTIATE_TEST_SUITE_P(, SentNotificationTest, testing::ValuesIn(kSent),
                         [](const auto& row) { return std::string(row.param.name); });

class KmodNotificationTest : public ChannelTest {};

TEST_F(KmodNotificationTest, ModuleWhoseOwnerNobodyTellsIsSent)
{
    load();
    EXPECT_EQ(tresk_kmod_communicate_with_kernel(9, "usb_storage"), 0);
    EXPECT_EQ(only_record().bytes, message_bytes(9, own_thread_id(), "usb_storage"));
    ASSERT_EQ(log_lines().size(), 1U); // there is no bus to ask on
    EXPECT_NE(log_lines().front().source, "tresk_communicate");
}

// --- what is not ---

struct NotSent {
    const char* name;
    int (*notify)();
    int result;
};

void PrintTo(const NotSent& row, std::ostream* out)
{
    *out << row.name;
}

std::string protected_entry(const std::string& attributes)
{
    return "<ppro_node path=\"/usr/bin/a\"" + attributes + "><hash>" + kHash +
           "</hash><type>1</type></ppro_node>";
}

void write_protected(const std::string& nodes)
{
    write_file("/etc/tresk/ppro/ppro.xml", "<ppro_root>" + nodes + "</ppro_root>");
}

/// Two sources block one program.
void write_blocked_twice()
{
    std::string nodes;
    for (const char* source : {"one", "other"}) {
        nodes += std::string("<pblk_node path=\"/usr/bin/a\" data_source_type=\"1\" data_source_name=\"") +
                 source + "\"><hash>" + kHash + "</hash></pblk_node>";
    }
    write_file("/etc/tresk/pblk/pblk.xml", "<pblk_root>" + nodes + "</pblk_root>");
}

/// What @notify gives in a framework of this version.
template <class Notify>
int with_version(const char* version, Notify notify)
{
    ::setenv("TRESK_STANDIN_VERSION", version, 1);
    const int result = notify();
    ::unsetenv("TRESK_STANDIN_VERSION");
    return result;
}

class UnsentNotificationTest : public ChannelTest, public testing::WithParamInterface<NotSent> {};

TEST_P(UnsentNotificationTest, LeavesTheKernelAlone)
{
    load();
    int result = 1;
    captured_stdout([&] { result = GetParam().notify(); });
    EXPECT_EQ(result, GetParam().result);
    expect_nothing_sent();
}

const std::array kNotSent = {
    NotSent{"NullHash", [] { return tresk_hash_communicate_with_kernel(7, nullptr, 1); }, -1},
    NotSent{"NullHashOfNetctl", [] { return tresk_netctl_communicate_with_kernel(7, nullptr, 1); }, -1},
    NotSent{"NullHashOfPpro", [] { return tresk_ppro_communicate_with_kernel(7, nullptr, 1); }, -1},
    NotSent{"NullHashOfPblk", [] { return tresk_pblk_communicate_with_kernel(7, nullptr); }, -1},
    NotSent{"NullData", [] { return tresk_devctl_communicate_with_kernel(7, nullptr, 1); }, -1},
    NotSent{"NullModule", [] { return tresk_kmod_communicate_with_kernel_sm(7, nullptr); }, -1},
    NotSent{"MoreThanThousandBytes",
            [] { return tresk_devctl_communicate_with_kernel(7, std::string(1001, 'x').data(), 1001); }, -1},
    NotSent{"ForgottenModule", [] { return tresk_kmod_communicate_with_kernel_sm(8, "snd"); }, -1000},
    NotSent{
        "NetctlOfAnOldFramework",
        [] { return with_version("4.1", [] { return tresk_netctl_communicate_with_kernel(3, "x", 1); }); },
        -2},
    NotSent{"PproOfAnOldFramework",
            [] { return with_version("4.1", [] { return tresk_ppro_communicate_with_kernel(3, "x", 1); }); },
            -2},
    NotSent{"PblkOfAnOldFramework",
            [] { return with_version("4.10", [] { return tresk_pblk_communicate_with_kernel(3, "x"); }); },
            -2},
    NotSent{"EntryOfTheSmSide",
            [] {
                write_protected(protected_entry(" sm_status=\"1\""));
                return tresk_ppro_communicate_with_kernel(9, kHash.c_str(), 1);
            },
            0},
    NotSent{"ProtectedEntryOfAnotherSource",
            [] {
                write_protected(protected_entry(" data_source_name=\"other\""));
                return tresk_ppro_communicate_with_kernel(10, kHash.c_str(), 1);
            },
            0},
    NotSent{"BlockedEntryThatIsNotAlone",
            [] {
                write_blocked_twice();
                return tresk_pblk_communicate_with_kernel_zdk(20, kHash.c_str(), 1, "one");
            },
            0},
};

INSTANTIATE_TEST_SUITE_P(, UnsentNotificationTest, testing::ValuesIn(kNotSent),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace

} // namespace tresk::test
