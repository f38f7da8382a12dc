// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a wrong command line gets: status 2, one line that names the mistake, nothing on standard output, and
// nothing done.
#include "tests/e2e/treskctl_test.h"

#include <gmock/gmock.h>

#include <iterator>
#include <sstream>

namespace tresk::test {

namespace {

using ::testing::HasSubstr;

struct Mistake {
    const char* name;
    /// The arguments, with one blank between two.
    const char* line;
    const char* message;
};

void PrintTo(const Mistake& mistake, std::ostream* stream)
{
    *stream << mistake.name;
}

Words words_of(const std::string& line)
{
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

class UsageTest : public TreskctlTest, public ::testing::WithParamInterface<Mistake> {};

TEST_P(UsageTest, IsAnsweredWithStatusTwo)
{
    const Outcome outcome = treskctl(words_of(GetParam().line));
    const std::string hint = "Run \"treskctl --help\" or \"treskctl COMMAND --help\".\n";
    EXPECT_EQ(outcome, (Outcome{2, "", std::string("treskctl: ") + GetParam().message + "\n" + hint}));
}

constexpr Mistake kMistakes[] = {
    {"NoCommand", "", "A subcommand is required"},
    {"UnknownCommand", "bogus", "there is no command \"bogus\""},
    {"UnknownCommandBelow", "ppro bogus", "there is no command \"bogus\""},
    {"UnknownOption", "--bogus", "there is no option \"--bogus\""},
    {"UnknownOptionOfCommand", "ppro list --bogus", "The following argument was not expected: --bogus"},
    {"ControlBytesInACommand", "a\033[2J", "there is no command \"a\\x1b[2J\""},
    {"NoPath", "ppro add --type 1", "PATH is required"},
    {"NoType", "ppro add /usr/bin/cat", "--type is required"},
    {"TypeIsNoNumber", "ppro add /usr/bin/cat --type one", "Could not convert: --type = one"},
    {"TypeDoesNotFit", "ppro add /usr/bin/cat --type 2147483648", "Could not convert: --type = 2147483648"},
    {"BothOwners", "ppro list --all --sm", "--all excludes --sm"},
    {"NeitherOnNorOff", "status set maybe", "STATE: \"maybe\" is neither on nor off"},
    {"UnknownFunction", "func set 7 on", "FUNCTION: \"7\" is no protection function (see func list)"},
    {"TooFewNumbers", "module set 1", "NUMBER: At least 5 required but received 1"},
    {"NoHash", "notify hash abc --type 1 --value 1",
     "HASH: \"abc\" is no hash (64 lowercase hexadecimal digits)"},
    {"NeitherHashNorPath", "notify ppro cat --type 1 --value 1",
     "SUBJECT: \"cat\" is neither a hash (64 lowercase hexadecimal digits) nor an absolute path"},
    {"MessageTypeDoesNotFit", "notify ppro /bin/cat --type 65536 --value 1",
     "Could not convert: --type = 65536"},
    {"UnknownUser", "netctl list --uid no-such-user",
     "--uid: \"no-such-user\" is no user (a name, or a number up to 4294967295)"},
    {"UserNumberDoesNotFit", "pkg list --uid 4294967296",
     "--uid: \"4294967296\" is no user (a name, or a number up to 4294967295)"},
    {"NegativeUserNumber", "netctl remove /a --uid -1",
     "--uid: \"-1\" is no user (a name, or a number up to 4294967295)"},
    {"UserAndAll", "netctl list --all --uid 0", "--all excludes --uid"},
    {"NoTypeOfARule", "netctl add /a", "--type is required"},
    {"NoPathOfARule", "netctl remove", "PATH is required"},
    {"NeitherOnNorOffForUsers", "netctl user-distinct maybe", "STATE: \"maybe\" is neither on nor off"},
    {"NoPackage", "pkg show", "PACKAGE is required"},
    {"PathOfANewPackage", "pkg add bash --type 1 --path /a",
     "The following argument was not expected: --path"},
    {"NoUserForBlocking", "pblk list --uid 0", "The following arguments were not expected: 0 --uid"},
    {"SourceTypeIsNoNumber", "pblk add /a --source-type x", "Could not convert: --source-type = x"},
    {"UnknownList", "bwlist add grey bash", "LIST: \"grey\" is none of white|black"},
    {"BothListsAreNotEdited", "bwlist add bwlist bash", "LIST: \"bwlist\" is none of white|black"},
    {"NoSourceToClear", "bwlist clear", "--source-type is required"},
    {"DistinctIsNoNumber", "bwlist distinct on", "Could not convert: VALUE = on"},
    {"NoValueForBlocking", "notify pblk /a --type 1 --value 1",
     "The following arguments were not expected: 1 --value"},
    {"UnknownLabel", "label protect Readonly /a", "LABEL: \"Readonly\" is none of readonly|verify|none"},
    {"NoneIsNoIdentity", "label identify none /a", "LABEL: \"none\" is none of secadm|audadm|deny|free"},
    {"NoPathToLabel", "label exec trusted", "PATH or --from-file is required"},
    {"NullWithoutAFile", "label xattr /a --null", "--null requires --from-file"},
    {"RecursionIsForProtection", "label exec trusted /a -r", "The following argument was not expected: -r"},
    {"NoPathToHash", "hash calc", "PATH or --from-file is required"},
    {"NoModule", "kmod protect", "MODULE is required"},
    {"NoDevice", "device add --perm 1", "--type or --vendor is required"},
    {"NoPermission", "device add --type 2", "--perm is required"},
    {"TypeWithoutPolicy", "device add --type 17 --perm 1", "--type: there are no policies for a type \"17\""},
    {"TypeOfNothing", "device remove --type 44 --perm 1", "--type: there are no policies for a type \"44\""},
    {"VendorAlone", "device add --vendor 1d6b --perm 1", "--vendor requires --product"},
    {"IdOfZero", "device add --vendor 0 --product 1 --perm 1",
     "--vendor: \"0\" is no id (1 to 8 hexadecimal digits, not 0)"},
    {"TypeAndIds", "device add --type 2 --vendor 1 --product 1 --perm 1", "--type excludes --vendor"},
    {"UsbTypeDoesNotFit", "device add --vendor 1 --product 1 --perm 1 --utype 22",
     "--utype: Value 22 not in range 0 to 21"},
    {"PermissionOfAnUpdate", "device update --type 2 --perm 3", "--perm: 3 not in {1,2,5}"},
    {"ClassAlone", "device add --sm-class 1 --perm 1", "--sm-class requires --sm-subtype"},
    {"NoClassToUpdate", "device update --sm-class 1 --sm-subtype 1 --perm 1",
     "The following arguments were not expected: 1 --sm-subtype 1 --sm-class"},
    {"BothLists", "device list --types --ids", "--types excludes --ids"},
    {"NoBatch", "device batch", "--from-file is required"},
    {"CredentialAsArgument", "user check root secret", "The following argument was not expected: secret"},
    {"NoMessage", "notify device --type 1", "--data or --data-file is required"},
    {"HalfAByte", "notify device --type 1 --data abc", "--data: not two hexadecimal digits for each byte"},
    {"FlagWithAValue", "ppro list --json=x", "a flag takes no value"},
};

INSTANTIATE_TEST_SUITE_P(Mistakes, UsageTest, ::testing::ValuesIn(kMistakes),
                         [](const auto& parameter) { return parameter.param.name; });

class TreskctlUsageTest : public TreskctlTest {};

TEST_F(TreskctlUsageTest, AMistakeIsAJsonObjectForPrograms)
{
    const Outcome outcome = treskctl({"ppro", "add", "/usr/bin/cat", "--json"});
    EXPECT_EQ(outcome.exit_status, 2);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(parsed(outcome.error), nlohmann::json::parse(R"({
        "version": 1, "command": null, "library": [],
        "errors": [{"cause": "usage", "subject": null, "code": null, "name": null,
                    "message": "--type is required"}]})"));
}

TEST_F(TreskctlUsageTest, HelpIsNoError)
{
    const Outcome outcome = treskctl({"--help"});
    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_EQ(outcome.error, "");
    for (const char* object :
         {"status", "func", "module", "security", "conf", "ppro", "netctl", "pkg", "pblk", "bwlist", "label",
          "hash", "kmod", "device", "wireless", "user", "notify"}) {
        EXPECT_THAT(outcome.output, HasSubstr(std::string("\n  ") + object + " "));
    }
}

TEST_F(TreskctlUsageTest, EachCommandHasItsHelp)
{
    const Outcome outcome = treskctl({"ppro", "add", "--help"});
    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_THAT(outcome.output, HasSubstr("Usage: treskctl ppro add [OPTIONS] PATH..."));
}

TEST_F(TreskctlUsageTest, VersionIsTheProjects)
{
    EXPECT_EQ(treskctl({"--version"}), succeeded("treskctl " TRESKCTL_VERSION "\n"));
}

TEST_F(TreskctlUsageTest, AFullStandardOutputIsAFailure)
{
    const Outcome outcome = run_program({{TRESKCTL_PROGRAM, "func", "list"}, {}, "/dev/full"});
    EXPECT_EQ(outcome, failed("treskctl: func list: standard output: No space left on device\n"));
}

} // namespace

} // namespace tresk::test
