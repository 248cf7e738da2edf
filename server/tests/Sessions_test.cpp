// Signing in to the console: accounts made by add-user, passwords kept only as hashes,
// session cookies, CSRF tokens on changes, and what each role may change.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdio>

#include "ServerTestSupport.h"
#include "api/PasswordHash.h"
#include "api/Sessions.h"
#include "support/Json.h"

namespace tolvana::server {
namespace {

using tolvana::testing::ServerFixture;

TEST(PasswordHash, MatchesOnlyItsPasswordAndRefusesHashesItWouldNotCompute) {
  auto stored = PasswordHash::of("correct horse");
  ASSERT_TRUE(stored.has_value());
  EXPECT_EQ(stored->find("correct horse"), std::string::npos);
  EXPECT_NE(*stored, PasswordHash::of("correct horse"));  // salted
  EXPECT_TRUE(PasswordHash::matches("correct horse", *stored));
  std::string tail = stored->substr(stored->find("$8$"));
  struct Case {
    const char* password;
    std::string stored;
  } const refused[] = {
      {"correct hors", *stored},
      {"correct horse ", *stored},
      {"", *stored},
      {"correct horse", "correct horse"},
      {"correct horse", "scrypt$30" + tail},  // 128 GiB of work asked for by a tampered row
      {"correct horse", stored->substr(0, stored->size() - 2)},
  };
  for (const Case& c : refused) EXPECT_FALSE(PasswordHash::matches(c.password, c.stored)) << c.password << " " << c.stored;
}

class SignIn : public ::testing::Test {
 protected:
  void SetUp() override {
    for (auto [name, role] : {std::pair{"ada", "admin"}, {"tom", "translator"}, {"vic", "viewer"}}) {
      std::string command = std::string(TOLVANA_SERVER_BINARY) + " --data " + server.dataDirectory() + " add-user " +
                            name + " --role " + role + " >/dev/null";
      FILE* input = ::popen(command.c_str(), "w");
      ASSERT_NE(input, nullptr);
      std::fputs((std::string(name) + "-password\n").c_str(), input);
      ASSERT_EQ(::pclose(input), 0) << command;
    }
  }

  HttpResponse signIn(const std::string& name, const std::string& password) {
    return server.send({"POST", "/console/session", {{"Content-Type", "application/json"}},
                        json::serialize(Value::Dictionary{{"name", name}, {"password", password}})});
  }
  struct Session {
    std::string cookie, csrf;
  };
  Session session(const std::string& name) {
    auto answer = signIn(name, name + "-password");
    EXPECT_EQ(answer.status, 200) << answer.body;
    std::string cookie = answer.headers["set-cookie"];
    return {cookie.substr(0, cookie.find(';')), json::parse(answer.body)->find("csrfToken")->asString()};
  }
  int status(const std::string& method, const std::string& path, const Session& s, bool withCsrf = true,
             const std::string& body = "{}") {
    std::vector<std::pair<std::string, std::string>> headers{{"Cookie", s.cookie}, {"Content-Type", "application/json"}};
    if (withCsrf) headers.emplace_back("X-CSRF-Token", s.csrf);
    return server.send({method, path, headers, method == "GET" ? "" : body}).status;
  }
  std::string query(const std::string& sql) {
    sqlite3* db = nullptr;
    sqlite3_open((server.dataDirectory() + "/tolvana-server.sqlite").c_str(), &db);
    std::string all;
    sqlite3_exec(db, sql.c_str(), [](void* out, int n, char** cells, char**) {
      for (int i = 0; i < n; ++i) *static_cast<std::string*>(out) += std::string(cells[i] ? cells[i] : "") + "|";
      return 0;
    }, &all, nullptr);
    sqlite3_close(db);
    return all;
  }

  ServerFixture server{{.tls = true}};
};

TEST_F(SignIn, ASessionCookieForTheRightPasswordAloneAndNothingInClearInTheDatabase) {
  EXPECT_EQ(signIn("ada", "tom-password").status, 401);
  EXPECT_EQ(signIn("nobody", "ada-password").status, 401);
  auto answer = signIn("ada", "ada-password");
  ASSERT_EQ(answer.status, 200) << answer.body;
  const std::string cookie = answer.headers["set-cookie"];
  for (const char* flag : {"; HttpOnly", "; SameSite=Strict", "; Secure", "; Path=/"}) {
    EXPECT_NE(cookie.find(flag), std::string::npos) << flag << " missing in " << cookie;
  }
  EXPECT_EQ(json::parse(answer.body)->find("role")->asString(), "admin");
  const std::string id = cookie.substr(cookie.find('=') + 1, 64);
  const std::string stored = query("SELECT password_hash FROM accounts; SELECT id_digest FROM sessions");
  EXPECT_EQ(stored.find("password"), std::string::npos) << stored;
  EXPECT_EQ(stored.find(id), std::string::npos) << "the session id is stored as it is";
  EXPECT_NE(stored.find(Sessions::digestOf(id)), std::string::npos);
}

TEST_F(SignIn, EachRoleChangesWhatItMayAndNoChangeGoesThroughWithoutItsCsrfToken) {
  server.request("PATCH", "/admin/v1/projects/app1", R"({"languages":["de","en"]})");
  const std::string edit = R"({"entries":[{"language":"de","group":"main","key":"title","draft":"Titel"}]})";
  const std::string projects = "/admin/v1/projects", entries = projects + "/app1/entries",
                    publish = projects + "/app1/publish", accept = projects + "/app1/missing/accept";
  Session ada = session("ada"), tom = session("tom"), vic = session("vic");
  struct Case {
    const char* what;
    Session who;
    std::string method, path, body;
    bool csrf;
    int status;
  } const cases[] = {
      {"a viewer reads", vic, "GET", entries, "", true, 200},
      {"a viewer edits", vic, "PUT", entries, edit, true, 403},
      {"a translator edits without the token", tom, "PUT", entries, edit, false, 403},
      {"a translator edits with another's token", {tom.cookie, ada.csrf}, "PUT", entries, edit, true, 403},
      {"a translator edits", tom, "PUT", entries, edit, true, 200},
      {"a translator accepts", tom, "POST", accept, R"({"keys":[]})", true, 200},
      {"a viewer imports", vic, "POST", projects + "/app1/languages/de/import", R"({"format":"json","content":"e30="})",
       true, 403},
      {"a translator imports", tom, "POST", projects + "/app1/languages/de/import",
       R"({"format":"json","content":"e30="})", true, 200},
      {"a translator accepts and publishes", tom, "POST", accept, R"({"keys":[],"publish":true})", true, 403},
      {"a translator publishes", tom, "POST", publish, "{}", true, 403},
      {"a translator makes a project", tom, "POST", projects, "{}", true, 403},
      {"an admin publishes without the token", ada, "POST", publish, "{}", false, 403},
      {"an admin publishes", ada, "POST", publish, "{}", true, 200},
      {"a viewer lists the accounts", vic, "GET", "/admin/v1/accounts", "", true, 403},
      {"a translator makes an account", tom, "POST", "/admin/v1/accounts",
       R"({"name":"eve","password":"eve-password","role":"admin"})", true, 403},
      {"a forged session", {"tolvana_session=" + std::string(64, 'a'), vic.csrf}, "GET", projects, "", true, 401},
      {"a viewer signs out without the token", vic, "POST", "/console/sign-out", "{}", false, 403},
      {"a viewer signs out", vic, "POST", "/console/sign-out", "{}", true, 200},
      {"a viewer signed out", vic, "GET", projects, "", true, 401},
  };
  for (const Case& c : cases) EXPECT_EQ(status(c.method, c.path, c.who, c.csrf, c.body), c.status) << c.what;
  EXPECT_EQ(json::serialize(*json::parse(server.request("GET", entries + "?language=de"))->asArray()[0].find("value")),
            R"("Titel")");
}

TEST_F(SignIn, AdminsManageAccountsAndAChangedAccountSignsInAgain) {
  Session ada = session("ada"), vic = session("vic");
  EXPECT_EQ(status("POST", "/admin/v1/accounts", ada, true, R"({"name":"a/b","password":"long enough","role":"viewer"})"),
            400);
  EXPECT_EQ(status("POST", "/admin/v1/accounts", ada, true, R"({"name":"eve","password":"short","role":"viewer"})"), 400);
  EXPECT_EQ(status("POST", "/admin/v1/accounts", ada, true, R"({"name":"eve","password":"eve-password","role":"boss"})"),
            400);
  EXPECT_EQ(status("POST", "/admin/v1/accounts", ada, true, R"({"name":"vic","password":"vic-password","role":"admin"})"),
            409);
  EXPECT_EQ(status("POST", "/admin/v1/accounts", ada, true,
                   R"({"name":"eve","password":"eve-password","role":"translator"})"), 201);
  EXPECT_EQ(json::parse(signIn("eve", "eve-password").body)->find("role")->asString(), "translator");

  EXPECT_EQ(status("PATCH", "/admin/v1/accounts/vic", ada, true, R"({"role":"translator"})"), 200);
  EXPECT_EQ(status("GET", "/admin/v1/projects", vic), 401);
  EXPECT_EQ(json::parse(signIn("vic", "vic-password").body)->find("role")->asString(), "translator");
  EXPECT_EQ(status("DELETE", "/admin/v1/accounts/vic", ada), 200);
  EXPECT_EQ(signIn("vic", "vic-password").status, 401);
  const std::string names = server.request("GET", "/admin/v1/accounts");
  EXPECT_EQ(names.find("password"), std::string::npos) << names;
  EXPECT_EQ(names.find("\"vic\""), std::string::npos) << names;
}

TEST_F(SignIn, TheConsoleIsServedOnlyInASessionThatHasNotExpired) {
  Session vic = session("vic");
  EXPECT_EQ(status("GET", "/console/", vic), 200);
  EXPECT_EQ(status("GET", "/console/console.js", vic), 200);
  query("UPDATE sessions SET expires_at = 1");
  EXPECT_EQ(status("GET", "/console/", vic), 303);
  EXPECT_EQ(status("GET", "/console/console.js", vic), 401);
  EXPECT_EQ(status("GET", "/admin/v1/projects", vic), 401);
  EXPECT_EQ(status("GET", "/console/session", vic), 401);
  EXPECT_EQ(status("GET", "/console/sign-in", {}), 200);
  EXPECT_EQ(status("GET", "/console/sign-in.js", {}), 200);
}

}  // namespace
}  // namespace tolvana::server
