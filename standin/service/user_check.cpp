// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The check of a user by PAM. It asks the PAM service "tresk" of the folder "pam.d" in the state folder,
// never one of the machine's own.
#include "standin/service/families.h"

#include <security/pam_appl.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>

namespace tresk::service {

namespace {

constexpr int kValid = 0;
constexpr int kRefused = 1;

bool is_prompt(const pam_message& message)
{
    return message.msg_style == PAM_PROMPT_ECHO_OFF || message.msg_style == PAM_PROMPT_ECHO_ON;
}

/// Answers every prompt with the credential. Modules take a missing answer, which is what remains when
/// memory runs out, for a refused one; answers are theirs to free.
int converse(int count, const pam_message** messages, pam_response** responses, void* credential)
{
    auto* const answers =
        static_cast<pam_response*>(std::calloc(static_cast<std::size_t>(count), sizeof(pam_response)));
    if (answers == nullptr) {
        return PAM_BUF_ERR;
    }
    for (int at = 0; at < count; ++at) {
        if (is_prompt(*messages[at])) {
            answers[at].resp = ::strdup(static_cast<const char*>(credential));
        }
    }
    *responses = answers;
    return PAM_SUCCESS;
}

/// One PAM transaction, from its start to its end.
class Transaction {
  public:
    Transaction(const std::filesystem::path& services, const std::string& user, std::string& credential)
        : conversation_{converse, credential.data()},
          status_(pam_start_confdir("tresk", user.c_str(), &conversation_, services.c_str(), &handle_))
    {
    }

    ~Transaction()
    {
        if (handle_ != nullptr) {
            pam_end(handle_, status_);
        }
    }

    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    Transaction(Transaction&&) = delete;
    Transaction& operator=(Transaction&&) = delete;

    /// Whether this step and all before it went well; after a failure no step is taken.
    bool step(int (*function)(pam_handle_t* handle, int flags))
    {
        if (status_ == PAM_SUCCESS) {
            status_ = function(handle_, PAM_SILENT);
        }
        return status_ == PAM_SUCCESS;
    }

  private:
    pam_conv conversation_;
    pam_handle_t* handle_ = nullptr;
    int status_;
};

/// Whether PAM has a file to go by. It refuses without one as well, but loses memory on the way.
bool has_service_file(const std::filesystem::path& services)
{
    return std::filesystem::exists(services / "tresk") || std::filesystem::exists(services / "other");
}

bool is_valid(const std::filesystem::path& services, const std::string& user, std::string& credential)
{
    if (!has_service_file(services)) {
        return false;
    }
    Transaction transaction(services, user, credential);
    return transaction.step(pam_authenticate) && transaction.step(pam_acct_mgmt);
}

Variant check_user(const Folders& folders, GVariant* arguments)
{
    const std::string user = text_at(arguments, 0);
    std::string credential = text_at(arguments, 1);
    return number(is_valid(folders.state / "pam.d", user, credential) ? kValid : kRefused);
}

} // namespace

std::span<const Method> user_check_methods()
{
    static constexpr std::array methods{
        Method{"tresk_check_user_valid_with_pam", "ss", "i", check_user, Access::kOpen, true},
    };
    return methods;
}

} // namespace tresk::service
