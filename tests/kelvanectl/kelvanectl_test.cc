#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "platform/platform.h"
#include "platform/reference/reference.h"
#include "tests/support/files.h"

namespace {

class Kelvanectl : public ::testing::Test {
 protected:
  ~Kelvanectl() override { stop_agent(); }

  support::CommandResult run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {KELVANECTL, "--root", root_.path()});
    return support::run_command(arguments);
  }

  void expect_output(const std::vector<std::string> &arguments, const std::string &out) {
    const auto result = run(arguments);
    EXPECT_EQ(result.out, out);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
  }

  void expect_error(const std::vector<std::string> &arguments, int status, const std::string &error) {
    const auto result = run(arguments);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, error);
    EXPECT_EQ(result.status, status);
  }

  // Changes the configuration as another process would.
  template <typename Change>
  void with_platform(Change change) {
    reference_set_root(root_.path().c_str());
    ASSERT_EQ(conf_init(), 0);
    change();
    conf_end();
  }

  void start_agent(const char *mode) {
    agent_ = fork();
    if (agent_ == 0) {
      execl(FAKE_AGENT, FAKE_AGENT, root_.path().c_str(), mode, nullptr);
      _exit(127);
    }
    for (int i = 0; i < 3000 && !support::exists(pid_file()); i++) {
      usleep(10000);
    }
    ASSERT_TRUE(support::exists(pid_file()));
  }

  void stop_agent() {
    if (agent_ > 0) {
      kill(agent_, SIGKILL);
      waitpid(agent_, nullptr, 0);
      agent_ = 0;
    }
  }

  std::string pid_file() const { return root_.file("var/run/kelvane.pid"); }

  support::TempDir root_;
  pid_t agent_ = 0;
};

TEST_F(Kelvanectl, ListsTheTables) {
  expect_output({"table", "list"},
                "table: 100\ntitle: system settings\nrecords: 1\n\ntable: 280\ntitle: access profiles\nrecords: 2\n\n"
                "table: 330\ntitle: dashboard widgets\nrecords: 8\n\ntable: 340\ntitle: administrator accounts\n"
                "records: 1\n\ntable: 440\ntitle: network interfaces\nrecords: 4\n\ntable: 640\ntitle: event hub\n"
                "records: 1\n");
}

TEST_F(Kelvanectl, SetsAndShowsFieldsOfEveryKind) {
  expect_output({"table", "set", "440", "port2", "address", "10.1.2.3"}, "");
  expect_output({"interface", "set", "port2", "addressing_mode", "1"}, "");
  expect_output({"table", "show", "440", "--key", "port2", "--json"},
                "[\n  {\n    \"key_number\": 2,\n    \"name\": \"port2\",\n    \"manual\": 0,\n"
                "    \"addressing_mode\": 1,\n    \"address\": \"10.1.2.3\",\n    \"netmask\": \"none\",\n"
                "    \"default_server\": 1,\n    \"AzureEndpoint\": \"none\"\n  }\n]\n");
  expect_output({"table", "set", "100", "-", "host_name", "box"}, "");
  expect_output({"hostname"}, "box\n");
  expect_output({"table", "set", "100", "-", "time_zone_index", "-3"}, "");
  EXPECT_NE(run({"table", "show", "100"}).out.find("\ntime_zone_index: -3\n"), std::string::npos);
}

TEST_F(Kelvanectl, RefusesWhatDoesNotFit) {
  expect_error({"table", "show", "7"}, 1, "kelvanectl: there is no table 7\n");
  expect_error({"table", "show", "354"}, 1, "kelvanectl: table 354 belongs to accounts: see 'account show NAME'\n");
  expect_error({"table", "show", "440", "--key", "port9"}, 1, "kelvanectl: table 440 has no record \"port9\"\n");
  expect_error({"table", "set", "440", "port2", "speed", "1"}, 1, "kelvanectl: table 440 has no field speed\n");
  expect_error({"table", "set", "440", "port2", "name", "x"}, 1, "kelvanectl: the field name is not set this way\n");
  expect_error({"table", "set", "340", "admin", "password", "x"}, 1,
               "kelvanectl: the field password is not set this way\n");
  expect_error({"table", "set", "440", "port2", "manual", "256"}, 1, "kelvanectl: \"256\" is too large for manual\n");
  expect_error({"table", "set", "440", "port2", "manual", "1x"}, 1, "kelvanectl: \"1x\" is no value for manual\n");
  expect_error({"table", "set", "100", "-", "host_name", std::string(64, 'h')}, 1,
               "kelvanectl: the value of host_name is too long: at most 63 bytes\n");
  expect_error({"endpoint", "set", "1.2.3"}, 1, "kelvanectl: \"1.2.3\" is no IPv4 address\n");
  expect_error({"account", "show", "nobody"}, 1, "kelvanectl: table 340 has no record \"nobody\"\n");
  expect_error({"keys", "nobody"}, 1, "kelvanectl: table 340 has no record \"nobody\"\n");
}

TEST_F(Kelvanectl, WrongCommandLinesAreStatusTwo) {
  for (const std::vector<std::string> &arguments :
       {std::vector<std::string>{}, {"bogus"}, {"table"}, {"table", "show"}, {"debug", "level", "x"}, {"command"}}) {
    const auto result = run(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err, "");
  }
  const auto help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("Exit status: 0 done"), std::string::npos);
}

TEST_F(Kelvanectl, EndpointHasItsFirstOctetInTheLowestByte) {
  expect_output({"endpoint", "show"}, "none\n");
  expect_output({"endpoint", "set", "168.63.129.16"}, "");
  expect_output({"endpoint", "show"}, "168.63.129.16\n");
  expect_output({"--json", "endpoint", "show"}, "{\n  \"AzureEndpoint\": \"168.63.129.16\"\n}\n");
  with_platform([] {
    const auto *port = static_cast<ncfg_interface *>(cmf_query_do_table_find(nCfg_query(440), 0, "port1", 2));
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->AzureEndpoint, 0x10813FA8u);
  });
  expect_output({"endpoint", "clear"}, "");
  expect_output({"endpoint", "show"}, "none\n");
}

TEST_F(Kelvanectl, AccountsShowTheirKeysAndDashboardsButNeverTheHash) {
  std::string hash;
  with_platform([&hash] {
    ncfg_account account = {};
    copy_cmdb_default(cmdb.tables[340], &account, sizeof account);
    strcpy(account.name, "user");
    strncpy(account.password, make_new_passwd("Plain-secret-7", 0), sizeof account.password - 1);
    hash = account.password;
    cmf_query *profiles = nCfg_query(280);
    ASSERT_NE(cmf_query_do_table_find(profiles, 0, "prof_admin", 2), nullptr);
    account.access_profile = profiles->found_key_number;
    ASSERT_EQ(cmf_query_table_append(nCfg_query(340), &account), 0);
    cmf_query *widgets = nCfg_query(330);
    ASSERT_NE(cmf_query_do_table_find(widgets, 0, "sysres", 2), nullptr);
    cmf_query *child = cmf_query_create_child_with_key(nCfg_query(340), 354, "user");
    ncfg_dashboard_entry entry = {};
    entry.widget = widgets->found_key_number;
    entry.column = 2;
    entry.open = 1;
    entry.height = 300;
    ASSERT_EQ(cmf_query_table_append(child, &entry), 0);
    cmf_query_free(child);
    ASSERT_EQ(cmf_write_config(cmf_get_cur_domain_id()), 0);
  });
  const auto shown = run({"account", "show", "user"});
  EXPECT_EQ(shown.status, 0) << shown.err;
  EXPECT_NE(shown.out.find("name: user\npassword: set (yescrypt)\naccess_profile: prof_admin\n"), std::string::npos)
      << shown.out;
  EXPECT_NE(shown.out.find("\nssh_keys: none\ndashboard:\n  widget: sysres, column: 2, open: 1, height: 300\n"
                           "gui_dashboard: none\n"),
            std::string::npos)
      << shown.out;
  ASSERT_NE(hash, "");
  for (const std::vector<std::string> &arguments : {std::vector<std::string>{"account", "show", "user", "--json"},
                                                    {"account", "list"},
                                                    {"table", "show", "340", "--json"}}) {
    EXPECT_EQ(run(arguments).out.find(hash), std::string::npos);
  }
  expect_output({"keys", "user"}, "");
  expect_output({"keys", "user", "--json"}, "[]\n");
}

TEST_F(Kelvanectl, FactoryAccountHasNoPasswordThatOpensIt) {
  expect_output({"account", "list"},
                "name: admin\npassword: not set (locked)\naccess_profile: prof_admin\nhidden: no\n");
}

TEST_F(Kelvanectl, SecretsOfTheEventHubAreNotShown) {
  with_platform([] {
    cmf_query *query = nCfg_query(640);
    strcpy(static_cast<ncfg_event_hub *>(cmf_query_update(query))->policy_sas_key, "marked-secret");
    ASSERT_EQ(cmf_query_commit(query), 0);
    ASSERT_EQ(cmf_write_config(cmf_get_cur_domain_id()), 0);
  });
  const auto shown = run({"table", "show", "640"});
  EXPECT_NE(shown.out.find("\npolicy_sas_key: set\n"), std::string::npos) << shown.out;
  EXPECT_EQ(shown.out.find("marked-secret"), std::string::npos);
  expect_output({"eventhub"},
                "enabled: no\nappliance_id: \npolicy_sas_key: set\npolicy_name: \nevent_hub_name: \n"
                "service_bus_namespace: \n");
  EXPECT_EQ(run({"eventhub", "--json"}).out.find("marked-secret"), std::string::npos);
  EXPECT_NE(run({"eventhub", "--show-secrets"}).out.find("\npolicy_sas_key: marked-secret\n"), std::string::npos);
}

TEST_F(Kelvanectl, ShowsTheEventHub) {
  with_platform([] {
    cmf_query *query = nCfg_query(640);
    auto *hub = static_cast<ncfg_event_hub *>(cmf_query_update(query));
    hub->enabled = 1;
    strcpy(hub->appliance_id, "box-7");
    // A text that fills its field to the end is shown whole.
    memset(hub->policy_sas_key, 'k', sizeof hub->policy_sas_key - 1);
    strcpy(hub->policy_name, "send");
    strcpy(hub->event_hub_name, "logs");
    strcpy(hub->service_bus_namespace, "contoso-ns");
    ASSERT_EQ(cmf_query_commit(query), 0);
    ASSERT_EQ(cmf_write_config(cmf_get_cur_domain_id()), 0);
  });
  expect_output({"eventhub"},
                "enabled: yes\nappliance_id: box-7\npolicy_sas_key: set\npolicy_name: send\nevent_hub_name: logs\n"
                "service_bus_namespace: contoso-ns\n");
  expect_output({"eventhub", "--show-secrets", "--json"},
                "{\n  \"enabled\": true,\n  \"appliance_id\": \"box-7\",\n  \"policy_sas_key\": \"" +
                    std::string(128, 'k') +
                    "\",\n  \"policy_name\": \"send\",\n  \"event_hub_name\": \"logs\",\n"
                    "  \"service_bus_namespace\": \"contoso-ns\"\n}\n");
}

TEST_F(Kelvanectl, AnEventHubThatNobodyConfiguredHasNoKey) {
  EXPECT_NE(run({"eventhub"}).out.find("enabled: no\nappliance_id: \npolicy_sas_key: not set\n"), std::string::npos);
  EXPECT_NE(run({"eventhub", "--show-secrets"}).out.find("\npolicy_sas_key: \n"), std::string::npos);
}

TEST_F(Kelvanectl, EventsAreJsonForScripts) {
  with_platform([] { log_system_event(11008801, 1, 6, "daemon", 1, 2, "Config eventhub fails."); });
  const auto shown = run({"events", "--json"});
  EXPECT_EQ(shown.out.rfind("[\n  {\n    \"number\": 1,\n    \"time\": \"2", 0), 0u) << shown.out;
  EXPECT_NE(shown.out.find("Z\",\n    \"event_id\": 11008801,\n    \"version\": 1,\n    \"category\": 6,\n"
                           "    \"source\": \"daemon\",\n    \"kind\": 1,\n    \"result\": 2,\n"
                           "    \"text\": \"Config eventhub fails.\"\n  }\n]\n"),
            std::string::npos)
      << shown.out;
}

constexpr const char *kPluginStatus = R"([
  { "name": "Example.Script", "version": "1.5.2.0", "handlerstate": "enabled",
    "config": { "installed": 1, "seqno": 3, "cmdtime": 1700000025, "extname": "Example.Script-1",
                "message": "first\nsecond" } },
  { "name": "Example.Access", "version": "1.4.0.0", "handlerstate": "installed",
    "config": { "installed": 1, "seqno": -1, "cmdtime": 0, "extname": "", "message": "" } },
  { "name": "Example.Other", "version": "0.0.0.0", "config": { "installed": 0 } }
])";

TEST_F(Kelvanectl, ShowsThePluginStatesInTheOrderOfTheFile) {
  root_.write("data/etc/.plugin_status", kPluginStatus);
  expect_output({"plugins"},
                "name: Example.Script\nversion: 1.5.2.0\nstate: enabled\ninstalled: yes\nsequence_number: 3\n"
                "command_time: 2023-11-14T22:13:45Z\nextension_name: Example.Script-1\nmessage: first?second\n\n"
                "name: Example.Access\nversion: 1.4.0.0\nstate: installed\ninstalled: yes\nsequence_number: -1\n"
                "command_time: none\nextension_name: \nmessage: \n\n"
                "name: Example.Other\nversion: 0.0.0.0\nstate: not installed\ninstalled: no\n");
}

TEST_F(Kelvanectl, PluginStatesAreJsonForScripts) {
  root_.write("data/etc/.plugin_status", kPluginStatus);
  const auto shown = run({"--json", "plugins"});
  EXPECT_EQ(
      shown.out.rfind("[\n  {\n    \"name\": \"Example.Script\",\n    \"version\": \"1.5.2.0\",\n"
                      "    \"state\": \"enabled\",\n    \"installed\": true,\n    \"sequence_number\": 3,\n"
                      "    \"command_time\": \"2023-11-14T22:13:45Z\",\n"
                      "    \"extension_name\": \"Example.Script-1\",\n    \"message\": \"first\\nsecond\"\n  },\n",
                      0),
      0u)
      << shown.out;
}

TEST_F(Kelvanectl, NoPluginStatesYetIsNoFailure) {
  expect_output({"plugins"}, "");
  expect_output({"plugins", "--json"}, "[]\n");
}

TEST_F(Kelvanectl, PluginStatesThatTheAgentDidNotWriteAreRefused) {
  const std::string file = root_.file("data/etc/.plugin_status");
  const std::string refused = "kelvanectl: the plugin states cannot be read: " + file;
  for (const char *text : {"", "[{\"name\": ", "{}", "[1]", "7"}) {
    root_.write("data/etc/.plugin_status", text);
    expect_error({"plugins"}, 1, refused + " is not what the agent writes\n");
  }
  root_.write("data/etc/.plugin_status", "[" + std::string(4 * 1024 * 1024, ' ') + "]");
  expect_error({"plugins"}, 1, refused + " is too large\n");
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  expect_error({"plugins"}, 1, refused + " is no file\n");
}

TEST_F(Kelvanectl, WrongTypesAmongThePluginStatesCountAsMissing) {
  root_.write("data/etc/.plugin_status",
              R"([{"name": 7, "version": "1.0", "handlerstate": [], "config": {"installed": 1, "seqno": "x"}}, {}])");
  expect_output({"plugins"},
                "name: \nversion: 1.0\nstate: not installed\ninstalled: yes\nsequence_number: 0\ncommand_time: none\n"
                "extension_name: \nmessage: \n\nname: \nversion: \nstate: not installed\ninstalled: no\n");
}

TEST_F(Kelvanectl, EventsComeOldestFirstAndCanBeginLater) {
  with_platform([] {
    log_system_event(20, 1, 6, "kelvane", 1, 1, "first");
    log_system_event(21, 1, 6, "kelvane", 1, 2, "sec\nond");
  });
  const auto all = run({"events"});
  EXPECT_LT(all.out.find("text: first\n"), all.out.find("text: sec?ond\n")) << all.out;
  const auto later = run({"events", "--since", "1"});
  EXPECT_EQ(later.out.rfind("number: 2\n", 0), 0u) << later.out;
  EXPECT_EQ(later.out.find("first"), std::string::npos);
}

TEST_F(Kelvanectl, DebugLevelIsSharedBetweenProcesses) {
  expect_output({"debug", "level"}, "0\n");
  expect_output({"debug", "level", "7"}, "");
  expect_output({"debug", "level", "--json"}, "{\n  \"agent_debug_level\": 7\n}\n");
  EXPECT_EQ(run({"debug", "show"}).out.rfind("agent_debug_level: 7\ntest_command: 0\nserved: no\nos_version: ", 0), 0u);
}

TEST_F(Kelvanectl, CommandIsServedByTheAgent) {
  start_agent("serve");
  expect_output({"command", "2"}, "");
  EXPECT_EQ(root_.read("commands"), "2\n");
  EXPECT_NE(run({"debug", "show"}).out.find("\nserved: yes\n"), std::string::npos);
  expect_output({"command", "99", "--pid-file", pid_file()}, "");
  EXPECT_EQ(root_.read("commands"), "2\n99\n");
}

TEST_F(Kelvanectl, ServedBitOfAnEarlierCommandDoesNotCount) {
  start_agent("serve");
  expect_output({"command", "1"}, "");
  stop_agent();
  std::filesystem::remove(pid_file());
  start_agent("silent");
  expect_error({"command", "1", "--wait", "1"}, 4, "kelvanectl: the agent did not serve the command within 1 s\n");
  expect_output({"command", "1", "--wait", "0"}, "");
}

TEST_F(Kelvanectl, RestartIsServedWhenTheAgentIsGone) {
  start_agent("leave");
  // The process must vanish, and its parent is this test.
  const pid_t reaper = fork();
  if (reaper == 0) {
    _exit(run({"command", "99", "--wait", "20"}).status);
  }
  waitpid(agent_, nullptr, 0);
  agent_ = 0;
  int status = -1;
  waitpid(reaper, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(Kelvanectl, NoAgentIsStatusThreeWithAReason) {
  expect_error({"command", "1"}, 3, "kelvanectl: no agent runs: there is no pid file " + pid_file() + "\n");
  root_.write("var/run/kelvane.pid", "text");
  expect_error({"command", "1"}, 3, "kelvanectl: no agent runs: " + pid_file() + " holds no process id\n");
  root_.write("var/run/kelvane.pid", "-1");
  expect_error({"command", "1"}, 3, "kelvanectl: no agent runs: " + pid_file() + " holds no process id\n");
  root_.write("var/run/kelvane.pid", "4194303");
  expect_error({"command", "1"}, 3,
               "kelvanectl: no agent runs: the pid file " + pid_file() + " is stale, there is no process 4194303\n");
}

TEST_F(Kelvanectl, AProcessThatIsNoAgentIsNotSignalled) {
  if (!support::exists("/proc/self/comm")) {
    GTEST_SKIP() << "SKIP: no /proc";
  }
  agent_ = fork();
  if (agent_ == 0) {
    execlp("sleep", "sleep", "60", nullptr);
    _exit(127);
  }
  const std::string pid = std::to_string(agent_);
  for (int i = 0; i < 1000 && support::read_file("/proc/" + pid + "/comm") != "sleep\n"; i++) {
    usleep(10000);
  }
  root_.write("var/run/kelvane.pid", pid);
  expect_error({"command", "1"}, 3,
               "kelvanectl: no agent runs: the pid file " + pid_file() + " is stale, process " + pid + " is sleep\n");
  EXPECT_EQ(waitpid(agent_, nullptr, WNOHANG), 0) << "it lives";
}

}  // namespace
