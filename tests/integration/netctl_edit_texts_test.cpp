// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What becomes of each text of each edit: too long, cut inside a character, null, or no text that can be
// sent.
#include "tests/integration/netctl_edit.h"

#include <cerrno>
#include <cstring>

namespace tresk::test {

namespace {

struct EditText {
    NetctlEdit edit;
    NetctlText text;
};

std::ostream& operator<<(std::ostream& out, const EditText& row)
{
    return out << row.edit << ' ' << row.text.name;
}

/// Every text of every edit, of those for which @chosen holds.
std::vector<EditText> texts_that(bool (*chosen)(const NetctlText&))
{
    std::vector<EditText> rows;
    for (const NetctlEdit& edit : netctl_edits()) {
        for (const NetctlText& text : kNetctlTexts) {
            if (std::strchr(edit.members, text.letter) != nullptr && chosen(text)) {
                rows.push_back({edit, text});
            }
        }
    }
    return rows;
}

class NetctlEditText : public ServiceTest, public ::testing::WithParamInterface<EditText> {
  protected:
    static NetctlArguments with(const char* text)
    {
        NetctlArguments arguments;
        arguments.*GetParam().text.member = text;
        return arguments;
    }

    /// The edit that is given @text tells the service @wanted.
    void expect_is_sent_as(const char* text, const std::string& wanted)
    {
        service.forget_calls();
        EXPECT_EQ(GetParam().edit.call(with(text)), 0);
        EXPECT_EQ(service.calls(), std::vector<ServiceCall>{sent(GetParam().edit, with(wanted.c_str()))});
    }

    void expect_is_refused(const char* text)
    {
        // The types that concern the scene: it is not asked all the same.
        for (const std::int32_t type : {2, 1, 7}) {
            framework().reset();
            errno = 0;
            NetctlArguments arguments = with(text);
            arguments.type = type;
            EXPECT_EQ(GetParam().edit.call(arguments), -1);
            EXPECT_EQ(errno, EINVAL);
            expect_bad_argument_was_told(GetParam().edit.function, "tresk_netctl");
            EXPECT_EQ(framework().order, (std::vector<std::string>{"log", "error"}));
        }
        EXPECT_TRUE(service.calls().empty());
    }
};

constexpr auto by_text = [](const auto& row) {
    return std::string(row.param.edit.function) + "_" + row.param.text.name;
};

INSTANTIATE_TEST_SUITE_P(Texts, NetctlEditText,
                         ::testing::ValuesIn(texts_that([](const NetctlText&) { return true; })), by_text);

TEST_P(NetctlEditText, IsSentAsItIs)
{
    for (const char* text : {"", "x", "/usr/bin/\xC3\xA9\xE2\x82\xAC %s%n"}) {
        expect_is_sent_as(text, text);
    }
}

TEST_P(NetctlEditText, IsRefusedWhereItCannotBeSent)
{
    for (const char* text : {"\xFF", "/usr/\xC3", "a\xC3(", "\xED\xA0\x80", "\xF5\x80\x80\x80"}) {
        expect_is_refused(text);
    }
}

class NetctlCutText : public NetctlEditText {
  protected:
    static std::string filling(std::size_t bytes) { return std::string(bytes, 'x'); }

    static std::size_t most() { return GetParam().text.most_bytes; }
};

INSTANTIATE_TEST_SUITE_P(Texts, NetctlCutText, ::testing::ValuesIn(texts_that([](const NetctlText& text) {
                             return text.most_bytes != SIZE_MAX;
                         })),
                         by_text);

TEST_P(NetctlCutText, IsCutAtItsMostBytes)
{
    expect_is_sent_as(filling(most()).c_str(), filling(most()));
    expect_is_sent_as(filling(most() + 1).c_str(), filling(most()));
    expect_is_sent_as(filling(100'000).c_str(), filling(most()));
}

TEST_P(NetctlCutText, IsNotCutInsideACharacter)
{
    expect_is_sent_as((filling(most() - 1) + "\xC3\xA9").c_str(), filling(most() - 1));
    expect_is_sent_as((filling(most() - 2) + "\xE2\x82\xAC").c_str(), filling(most() - 2));
    expect_is_sent_as((filling(most() - 3) + "\xF0\x9F\x98\x80").c_str(), filling(most() - 3));
    expect_is_sent_as((filling(most() - 2) + "\xC3\xA9\xC3\xA9").c_str(), filling(most() - 2) + "\xC3\xA9");
}

TEST_P(NetctlCutText, IsSentForWhatItsCutLeaves)
{
    expect_is_sent_as((filling(most()) + "\xFF").c_str(), filling(most()));
}

TEST_P(NetctlCutText, IsEmptyForNull)
{
    expect_is_sent_as(nullptr, "");
}

class NetctlUncutText : public NetctlEditText {};

INSTANTIATE_TEST_SUITE_P(Texts, NetctlUncutText, ::testing::ValuesIn(texts_that([](const NetctlText& text) {
                             return text.most_bytes == SIZE_MAX;
                         })),
                         by_text);

TEST_P(NetctlUncutText, IsSentWhole)
{
    const std::string text(20'000, 'x');
    expect_is_sent_as(text.c_str(), text);
}

TEST_P(NetctlUncutText, IsRefusedForNull)
{
    expect_is_refused(nullptr);
}

TEST_P(NetctlUncutText, IsRefusedForWhatAnywhereCannotBeSent)
{
    expect_is_refused((std::string(20'000, 'x') + "\xFF").c_str());
}

} // namespace

} // namespace tresk::test
