// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The ground floor with its first, second, third... request for memory refused.
#include "common/default_policy.h"
#include "common/edge.h"
#include "tests/support/failing_memory.h"
#include "tests/support/framework_double.h"
#include "tests/support/temp_dir.h"

#include <string>

namespace tresk::test {

namespace {

constexpr char kWholePolicy[] =
    "<?xml version=\"1.0\"?>\n<tresk_root user_dist=\"a long value, past any small text\"/>\n";

/// Where the policies of a test lie.
std::string& policy_file()
{
    static std::string file;
    return file;
}

/// What a caller sees: the file whole or not at all, whether or not the exception came.
Outcome create()
{
    const int result = at_edge(-1, [] {
        create_default_policy(policy_file().c_str(),
                              {"tresk_root", "user_dist", "a long value, past any small text"});
        return 0;
    });
    return {result == -1, result == 0, nullptr};
}

class CommonWithoutMemory : public FrameworkTest {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        policy_file() = folder / "policy.xml";
    }

    TempDir folder;
};

TEST_F(CommonWithoutMemory, DefaultPolicyIsMadeWholeOrNotAtAll)
{
    for (const bool from_there_on : {false, true}) {
        std::filesystem::remove(policy_file());
        EXPECT_GT(refuse_each({"CreateDefaultPolicy", create, 0}, from_there_on), 0);
        EXPECT_EQ(read_file(policy_file()), kWholePolicy);
    }
}

TEST_F(CommonWithoutMemory, DefaultPolicyLeavesNoFileAtARefusal)
{
    for (long nth = 1;; ++nth) {
        std::filesystem::remove(policy_file());
        FailingMemory memory(nth, false);
        const Outcome outcome = create();
        memory.stop();
        EXPECT_EQ(read_file(policy_file()),
                  outcome.complete ? std::optional(std::string(kWholePolicy)) : std::nullopt)
            << nth;
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}),
                  outcome.complete ? 1 : 0);
        if (!memory.refused()) {
            EXPECT_GT(nth, 1);
            return;
        }
    }
}

} // namespace

} // namespace tresk::test
