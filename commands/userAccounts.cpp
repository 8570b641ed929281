#include "commands/userAccounts.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>
#include <strings.h>

#include "commands/usages.h"
#include "console/argumentText.h"
#include "console/dispatcher.h"
#include "console/peerCall.h"
#include "console/topics.h"
#include "platform/logger.h"
#include "platform/lpc.h"
#include "platform/store.h"
#include "platform/support/fixedText.h"
#include "platform/support/ownership.h"
#include "platform/support/report.h"
#include "serial/replyWriter.h"

namespace {

constexpr char kQuery[] = R"({"account":{}})";
constexpr char kNoUsers[] = R"({"account":{"users":[]}})";
constexpr char kUsers[] = "account.users";
constexpr char kAdministrator[] = "Administrator";
constexpr char kGuest[] = "Guest";
constexpr int kMostUsers = 4;
constexpr int kAnswerTimeoutMs = 9'000;  // room for the system daemon's own work

// The line as replies show it, and paths into the document.
using EchoText = FixedText<200>;
using Path = FixedText<200>;

struct DestroyCompletion {
    void operator()(lpc_completion* completion) const { lpc_completion_destroy(completion); }
};
using Completion = std::unique_ptr<lpc_completion, DestroyCompletion>;

// One stored account; borrowed from the document. Fields that are missing or no text are null.
struct Account {
    const char* name;
    const char* password;
};

bool sameName(std::string_view one, std::string_view other)
{
    return one.size() == other.size() && ::strncasecmp(one.data(), other.data(), one.size()) == 0;
}

bool isRoot(std::string_view name)
{
    return sameName(name, "root");
}

// None for an entry that is missing or has no name: every walk ends there.
std::optional<Account> accountAt(json_token* document, int index)
{
    Path path;
    path.format("account.users[%d]", index);
    json_token* entry = json_token_object_walk_get_token(document, path.c_str());
    const char* name = json_token_object_walk_get_string(entry, "username", nullptr);
    if (name == nullptr) {
        return std::nullopt;
    }
    return Account{name, json_token_object_walk_get_string(entry, "password", nullptr)};
}

void logDocumentFailure()
{
    if (__logLevels[5] != 0) {
        __printLog(5, "json_token_new_object");
    }
}

// The whole document is written back; it has no bound. A failed write goes unnoticed: the system daemon, which keeps
// the logins themselves, is told all the same.
void storeAccounts(const json_token* document)
{
    if (const PlatformText text{json_token_to_string(document)}) {
        user_config_update(text.get());
    }
}

// Passwords are shown: the list is how an installer reads them back.
void listUsers(json_token* document)
{
    uartReply("TCP/IP username & password list:\r\n");
    for (int i = 0; i < kMostUsers; ++i) {
        const auto account = accountAt(document, i);
        if (!account) {
            break;
        }
        const bool shown = !isRoot(account->name);
        if (shown) {
            uartReply(" - %s &", account->name);
        }
        if (account->password == nullptr) {
            break;
        }
        if (shown) {
            uartReply(" %s\r\n", account->password);
        }
    }
    uartReply(" -\r\n");
}

bool userExists(json_token* document, std::string_view name)
{
    for (int i = 0; i < kMostUsers; ++i) {
        const auto account = accountAt(document, i);
        if (!account) {
            return false;
        }
        if (sameName(account->name, name)) {
            return true;
        }
    }
    return false;
}

bool isLetterOrDigit(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z');
}

void setField(json_token* entry, const char* field, std::string_view value)
{
    // A piece of a line, which is never longer than a reply.
    FixedText<kReplyCapacity> text;
    text.append(value);
    if (json_token_object_walk_set_string(entry, field, text.c_str()) != 0) {
        uartReply("set_object: users[1] failed!");
    }
}

// Tells the system daemon of a new account and answers for it; one that does not answer leaves the echo alone.
void announceUser(const char* entryText, const char* echo)
{
    const Completion completion(lpc_proxy_call_with_reply(service::system, "sshAddUser", entryText));
    if (completion == nullptr || lpc_completion_wait(completion.get(), kAnswerTimeoutMs) != 0) {
        reportSystemError("lpc_proxy_call");
        return;
    }
    const char* answer = lpc_completion_data(completion.get());
    if (answer != nullptr && std::string_view(answer).starts_with("fail")) {
        refuse(echo);
    } else {
        uartReply("TCP/IP user was added\r\n");
    }
}

int addUser(json_token* document, std::string_view args, const char* echo)
{
    json_token* users = json_token_object_walk_get_token(document, kUsers);
    const int count = json_token_array_length(users);
    JsonToken entry(json_token_new_object());
    if (count < 0 || entry == nullptr) {
        logDocumentFailure();
        return 1;
    }
    if (count >= kMostUsers) {
        return refuse(echo);
    }

    const std::string_view name = nextPiece(args, ' ');
    const std::string_view password = nextPiece(args, ' ');
    const bool tooMany = !nextPiece(args, ' ').empty();
    setField(entry.get(), "username", name);
    const bool exists = userExists(document, name);
    if (!std::all_of(password.begin(), password.end(), isLetterOrDigit)) {
        return refuse(echo);
    }
    setField(entry.get(), "password", password);
    if (password.empty() || tooMany || exists) {
        return refuse(echo);
    }
    json_token_object_walk_set_string(entry.get(), "level", kGuest);

    const PlatformText entryText(json_token_to_string(entry.get()));
    json_token_array_put(users, count, entry.release());
    storeAccounts(document);
    uartReply("%s\r\n", echo);
    announceUser(entryText.get(), echo);
    return 1;
}

void copyUser(json_token* document, int index, const Account& account, const char* level)
{
    const struct {
        const char* field;
        const char* value;
    } fields[] = {{"username", account.name}, {"password", account.password}, {"level", level}};
    for (const auto& [field, value] : fields) {
        Path path;
        path.format("account.users[%d].%s", index, field);
        json_token_object_walk_set_string(document, path.c_str(), value);
    }
}

// Copies every account but those of that name; how many were left out.
int copyOthers(json_token* from, json_token* to, std::string_view name)
{
    int dropped = 0;
    int kept = 0;
    for (int i = 0;; ++i) {
        const auto account = accountAt(from, i);
        if (!account || account->password == nullptr) {
            return dropped;
        }
        if (!sameName(account->name, name)) {
            // Kept: only who was first before is Administrator; once that account is gone nobody is, and the web page
            // counts on that.
            copyUser(to, kept++, *account, i == 0 ? kAdministrator : kGuest);
        } else if (isRoot(name)) {
            return 0;
        } else {
            ++dropped;
        }
    }
}

}  // namespace

int addUserCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/,
                   const char* /*jsonTemplate*/)
{
    EchoText echo;
    echo.append(line);
    if (*args == '\0') {
        return refuse(echo.c_str());
    }
    const JsonToken document(user_config_query_to_json_token(kQuery));
    if (document == nullptr) {
        logDocumentFailure();
        return 1;
    }
    if (args == std::string_view("sta")) {
        listUsers(document.get());
        return 1;
    }
    return addUser(document.get(), args, echo.c_str());
}

int deleteUserCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/,
                      const char* /*jsonTemplate*/)
{
    EchoText echo;
    echo.append(line);
    if (*args == '\0') {
        return refuse(echo.c_str());
    }
    const JsonToken document(user_config_query_to_json_token(kQuery));
    if (document == nullptr) {
        reportSystemError("json_token_new_object");
        return 1;
    }
    json_token* users = json_token_object_walk_get_token(document.get(), kUsers);
    const JsonToken rewritten(json_token_parse(kNoUsers));
    if (json_token_array_length(users) < 0 || rewritten == nullptr) {
        logDocumentFailure();
        return 1;
    }
    if (copyOthers(document.get(), rewritten.get(), args) == 0) {
        return refuse(echo.c_str());
    }
    storeAccounts(rewritten.get());
    uartReply("%s\r\n", echo.c_str());
    callPeer(service::system, "sshDelUser", args);
    uartReply("TCP/IP user was deleted\r\n");
    return 1;
}

namespace {

constexpr char kNoList[] = "there is no list of accounts";

std::string longestEcho()
{
    return "An answer shows at most " + std::to_string(EchoText::kMaxSize) + " bytes of the line.";
}

Usage addUserUsage(const CommandEntry& /*row*/)
{
    const UsageField accounts = usage::text("accounts", 0, 0, "all accounts as JSON");
    return {.forms = {{.argument = "{user} {password}",
                       .effect = "Adds a guest account.",
                       .fields = {usage::text("user", 1), usage::text("password", 1, 0, "letters and digits"),
                                  usage::text("account", 0, 0, "the new account as JSON"), accounts},
                       .replies = {{"{line}\r\nTCP/IP user was added\r\n"},
                                   {"{line}\r\nCommand FAILED: ({line})\r\n", "the system service answers \"fail\""},
                                   {"{line}\r\n", "the system service does not answer"},
                                   {usage::kRefusal, "the user exists, in any case of letters, or there are " +
                                                         std::to_string(kMostUsers) + " accounts"},
                                   {"", kNoList}},
                       .stores = {{.value = "{accounts}", .jsonTemplate = kNoUsers}},
                       .calls = {{service::system, "sshAddUser", "{account}"}},
                       .answersUnstored = true},
                      {.argument = "sta",
                       .effect = "Answers all accounts but root, with their passwords, a line each between these two.",
                       .fields = {usage::text("list", 0, 0, "\" - {user} & {password}\" a line")},
                       .replies = {{"TCP/IP username & password list:\r\n{list} -\r\n"}, {"", kNoList}}}},
            .remarks = {longestEcho()}};
}

Usage deleteUserUsage(const CommandEntry& /*row*/)
{
    UsageField user = usage::text("user", 1);
    user.example = "guest";
    return {.forms = {{.argument = "{user}",
                       .effect = "Deletes an account; its name is taken in any case of letters.",
                       .fields = {user, usage::text("accounts", 0, 0, "all accounts that are left as JSON")},
                       .replies = {{"{line}\r\nTCP/IP user was deleted\r\n"},
                                   {usage::kRefusal, "there is no such user, or it is root"},
                                   {"", kNoList}},
                       .stores = {{.value = "{accounts}", .jsonTemplate = kNoUsers}},
                       .calls = {{service::system, "sshDelUser", "{user}"}},
                       .answersUnstored = true}},
            .remarks = {longestEcho()}};
}

}  // namespace

void describeUserAccounts(UsageList& list)
{
    list.push_back({addUserCommand, addUserUsage});
    list.push_back({deleteUserCommand, deleteUserUsage});
}
