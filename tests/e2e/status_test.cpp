// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "status", and what every command says of a service that refuses or is not there.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/private_bus.h"

namespace tresk::test {

namespace {

using nlohmann::json;

class StatusTest : public TreskctlTest {};

TEST_F(StatusTest, ShowsServiceSecurityAndModules)
{
    write_state("security_current", "2\n");
    write_state("modules_current", "3 0\n");
    EXPECT_EQ(treskctl({"status"}), succeeded("SERVICE ANSWERS  SECURITY  CONFIGURED SECURITY\n"
                                              "yes              2         1\n"
                                              "\n"
                                              "MODULE  CONFIGURED  REAL\n"
                                              "0       1           1\n"
                                              "1       1           1\n"
                                              "2       1           1\n"
                                              "3       1           0\n"
                                              "4       1           1\n"));
}

TEST_F(StatusTest, IsOneDocumentForPrograms)
{
    const Outcome outcome = treskctl({"--json", "status"});
    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_EQ(outcome.error, "");
    json modules = json::array();
    for (int module = 0; module < 5; ++module) {
        modules.push_back({{"module", module}, {"configured", 1}, {"real", 1}});
    }
    const json status = {{{"service_answers", true}, {"security", 1}, {"configured_security", 1}}};
    EXPECT_EQ(parsed(outcome.output),
              (json{{"version", 1}, {"command", "status"}, {"status", status}, {"modules", modules}}));
}

TEST_F(StatusTest, SaysThatNobodyAnswersWithoutABus)
{
    EXPECT_EQ(treskctl_without_bus({"status"}),
              (Outcome{1,
                       "SERVICE ANSWERS  SECURITY  CONFIGURED SECURITY\n"
                       "no               -         -\n",
                       "treskctl: status: the service could not be reached, or failed for an unknown reason "
                       "(TRESK_ERROR_SERVICE, -1011)\n"}));
}

TEST_F(StatusTest, SaysThatNobodyAnswersWithoutAService)
{
    const PrivateBus bus;
    bus.use_as_system_bus();
    EXPECT_EQ(treskctl({"conf", "add"}),
              failed("treskctl: conf add: the service could not be reached, or failed for an unknown reason "
                     "(TRESK_ERROR_SERVICE, -1011)\n"));
}

TEST_F(StatusTest, AReplyOfAnotherKindIsNoAnswer)
{
    write_state("service-faults", "tresk_conf_add reply ('done',)\n");
    EXPECT_EQ(treskctl({"conf", "add"}),
              failed("treskctl: conf add: the service could not be reached, or failed for an unknown reason "
                     "(TRESK_ERROR_SERVICE, -1011)\n"));
}

TEST_F(StatusTest, NoAnswerIsADocumentAndAnErrorForPrograms)
{
    const Outcome outcome = treskctl_without_bus({"status", "--json"});
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(parsed(outcome.output), json::parse(R"({"version": 1, "command": "status", "status":
        [{"service_answers": false, "security": null, "configured_security": null}]})"));
    EXPECT_EQ(parsed(outcome.error), json::parse(R"({"version": 1, "command": "status", "library": [],
        "errors": [{"cause": "status", "subject": null, "code": -1011, "name": "TRESK_ERROR_SERVICE",
                    "message": "the service could not be reached, or failed for an unknown reason"}]})"));
}

TEST_F(StatusTest, SetOffSwitchesTheFramework)
{
    EXPECT_EQ(treskctl({"status", "set", "off"}), succeeded("SWITCH     STATE\nframework  off\n"));
    EXPECT_EQ(read_state("status"), "0\n");
    EXPECT_EQ(treskctl({"status", "set", "on"}), succeeded("SWITCH     STATE\nframework  on\n"));
    EXPECT_EQ(read_state("status"), "1\n");
}

struct Refusal {
    const char* name;
    const char* error;
    const char* meaning;
};

void PrintTo(const Refusal& refusal, std::ostream* stream)
{
    *stream << refusal.name;
}

class RefusalTest : public TreskctlTest, public ::testing::WithParamInterface<Refusal> {};

TEST_P(RefusalTest, IsToldWithItsMeaningNameAndNumber)
{
    refuse("tresk_xattr_set_status", GetParam().error);
    EXPECT_EQ(treskctl({"status", "set", "on"}),
              failed(std::string("treskctl: status set: ") + GetParam().meaning + "\n"));
}

INSTANTIATE_TEST_SUITE_P(
    Codes, RefusalTest,
    ::testing::Values(
        Refusal{"Authorisation", "MERON.TRESK.AUTH.FAILED",
                "authorisation failed (TRESK_ERROR_AUTHORISATION, -1001)"},
        Refusal{"Cancelled", "MERON.TRESK.CANCEL.AUTH",
                "authorisation cancelled (TRESK_ERROR_CANCELLED, -1002)"},
        Refusal{"Disabled", "MERON.TRESK.DISABLED",
                "the framework is disabled (TRESK_ERROR_DISABLED, -1003)"},
        Refusal{"Database", "MERON.TRESK.DATABASE.ERR",
                "the service's policy store failed (TRESK_ERROR_DATABASE, -1004)"},
        Refusal{"LabelRead", "MERON.TRESK.LABEL.GET.ERR",
                "a label could not be read (TRESK_ERROR_LABEL_READ, -1005)"},
        Refusal{"LabelWrite", "MERON.TRESK.LABEL.SET.ERR",
                "a label could not be written (TRESK_ERROR_LABEL_WRITE, -1006)"},
        Refusal{"InvalidArgument", "MERON.TRESK.INVALID.ARG",
                "an argument was refused (TRESK_ERROR_INVALID_ARGUMENT, -1007)"},
        Refusal{"List", "MERON.TRESK.EXTRACT.LIST.ERR",
                "a list could not be extracted (TRESK_ERROR_LIST, -1008)"},
        Refusal{"FileAttribute", "MERON.TRESK.FILE.ATTR.ERR",
                "a file attribute could not be read or written (TRESK_ERROR_FILE_ATTRIBUTE, -1009)"},
        Refusal{"Configuration", "MERON.TRESK.CONF.ERR",
                "configuration error (TRESK_ERROR_CONFIGURATION, -1010)"},
        Refusal{
            "Unknown", "MERON.TRESK.SOMETHING.ELSE",
            "the service could not be reached, or failed for an unknown reason (TRESK_ERROR_SERVICE, -1011)"},
        Refusal{"NetworkControl", "MERON.TRESK.NETCTL.ERR",
                "network control error (TRESK_ERROR_NETWORK_CONTROL, -1012)"},
        Refusal{"DeviceControl", "MERON.TRESK.DEVCTL.ERR",
                "device control error (TRESK_ERROR_DEVICE_CONTROL, -1013)"},
        Refusal{"DeviceExists", "MERON.TRESK.DEVCTL.ADD.EXIST",
                "the device entry exists already (TRESK_ERROR_DEVICE_EXISTS, -1014)"},
        Refusal{"DeviceUnchanged", "MERON.TRESK.DEVCTL.UPDATE.REPEATE",
                "repeated device update (TRESK_ERROR_DEVICE_UNCHANGED, -1015)"}),
    [](const auto& parameter) { return parameter.param.name; });

} // namespace

} // namespace tresk::test
