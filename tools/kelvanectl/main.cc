// kelvanectl: the appliance's configuration and the agent's debug record on the command line.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <iostream>

#include "platform/platform.h"
#include "platform/reference/reference.h"
#include "tools/kelvanectl/agent.h"
#include "tools/kelvanectl/configuration.h"
#include "tools/kelvanectl/failure.h"
#include "tools/kelvanectl/output.h"
#include "tools/kelvanectl/plugins.h"

namespace {

using kelvanectl::Json;

struct Options {
  std::string root;
  bool json = false;
  uint32_t table = 0;
  std::string key;
  std::string field;
  std::string value;
  std::string name;
  std::string address;
  int32_t level = 0;
  uint32_t command = 0;
  std::string pid_file;
  unsigned wait = 30;
  int64_t since = 0;
  bool secrets = false;
};

// What the chosen command does; it returns what is to be shown, null for nothing.
using Action = std::function<Json()>;

class Program {
 public:
  Program() {
    app_.description("Shows and changes the appliance's configuration, and talks to the running agent.");
    app_.footer(
        "Exit status: 0 done; 1 not found, bad value or refused; 2 wrong command line; 3 no running agent; 4 the "
        "agent\n"
        "did not serve the command in time.");
    app_.require_subcommand(1);
    app_.add_option("--root", options_.root, "Folder that stands for / (a sandbox's root)")->type_name("DIR");
    app_.add_flag("--json", options_.json, "Show JSON, for scripts");
    app_.fallthrough();
    add_tables();
    add_accounts();
    add_network();
    add_extensions();
    add_agent();
  }

  int run(int count, char **arguments) {
    try {
      app_.parse(count, arguments);
    } catch (const CLI::ParseError &error) {
      return app_.exit(error, std::cout, std::cerr) == 0 ? kelvanectl::kDone : kelvanectl::kUsage;
    }
    try {
      return execute();
    } catch (const kelvanectl::Failure &failure) {
      std::fprintf(stderr, "kelvanectl: %s\n", failure.what());
      return failure.status();
    }
  }

 private:
  CLI::App *command(CLI::App *above, const char *name, const char *help, Action action) {
    CLI::App *made = above->add_subcommand(name, help);
    made->fallthrough();
    if (action) {
      made->callback([this, action] { action_ = action; });
    } else {
      made->require_subcommand(1);
    }
    return made;
  }

  CLI::App *group(const char *name, const char *help) { return command(&app_, name, help, nullptr); }

  void add_tables() {
    Options &o = options_;
    CLI::App *table = group("table", "Tables of the configuration database");
    command(table, "list", "The tables and how many records they hold", [] { return kelvanectl::table_list(); });
    CLI::App *show =
        command(table, "show", "The records of a table", [&o] { return kelvanectl::table_show(o.table, o.key); });
    show->add_option("NUMBER", o.table)->required();
    show->add_option("--key", o.key, "Only the record of this name");
    CLI::App *set = command(table, "set", "Changes one field of one record", [&o] {
      kelvanectl::table_set(o.table, o.key, o.field, o.value);
      return Json();
    });
    set->add_option("NUMBER", o.table)->required();
    set->add_option("KEY", o.key, "Name of the record; - in a table of a single record")->required();
    set->add_option("FIELD", o.field)->required();
    set->add_option("VALUE", o.value)->required();
    command(&app_, "hostname", "The configured host name", [] { return kelvanectl::host_name(); });
  }

  void add_accounts() {
    Options &o = options_;
    CLI::App *account = group("account", "Administrator accounts");
    command(account, "list", "The accounts", [] { return kelvanectl::account_list(); });
    CLI::App *show = command(account, "show", "One account with its SSH keys and dashboards",
                             [&o] { return kelvanectl::account_show(o.name); });
    show->add_option("NAME", o.name)->required();
    CLI::App *keys =
        command(&app_, "keys", "The SSH keys of an account", [&o] { return kelvanectl::account_keys(o.name); });
    keys->add_option("NAME", o.name)->required();
  }

  void add_network() {
    Options &o = options_;
    CLI::App *interface = group("interface", "Network interfaces");
    command(interface, "list", "The interfaces", [] { return kelvanectl::table_show(NCFG_TABLE_INTERFACES, ""); });
    CLI::App *set = command(interface, "set", "Changes one field of an interface", [&o] {
      kelvanectl::table_set(NCFG_TABLE_INTERFACES, o.name, o.field, o.value);
      return Json();
    });
    set->add_option("NAME", o.name)->required();
    set->add_option("FIELD", o.field)->required();
    set->add_option("VALUE", o.value)->required();
    CLI::App *endpoint = group("endpoint", "The wire server's address (AzureEndpoint of port1)");
    command(endpoint, "show", "The address, or none", [] { return kelvanectl::endpoint_show(); });
    CLI::App *to = command(endpoint, "set", "Sets the address", [&o] {
      kelvanectl::endpoint_set(o.address);
      return Json();
    });
    to->add_option("A.B.C.D", o.address)->required();
    command(endpoint, "clear", "Forgets the address", [] {
      kelvanectl::endpoint_set("none");
      return Json();
    });
  }

  // What extensions did.
  void add_extensions() {
    Options &o = options_;
    command(&app_, "plugins", "The states of the plugins that serve extensions",
            [&o] { return kelvanectl::plugin_list(o.root + "/data/etc/.plugin_status"); });
    CLI::App *hub =
        command(&app_, "eventhub", "The event-hub settings", [&o] { return kelvanectl::event_hub(o.secrets); });
    hub->add_flag("--show-secrets", o.secrets, "With the key itself");
    CLI::App *events =
        command(&app_, "events", "The system event log", [&o] { return kelvanectl::event_list(o.since); });
    events->add_option("--since", o.since, "Only entries with a greater number");
  }

  void add_agent() {
    Options &o = options_;
    CLI::App *debug = group("debug", "The debug record");
    command(debug, "show", "The whole record", [] { return kelvanectl::debug_show(); });
    CLI::App *level = command(debug, "level", "Shows the agent's debug level, or sets it", nullptr);
    level->require_subcommand(0);
    CLI::Option *given = level->add_option("N", o.level);
    level->callback([this, &o, given] {
      action_ = [&o, given] {
        if (given->count() == 0) {
          return kelvanectl::debug_level();
        }
        kelvanectl::set_debug_level(o.level);
        return Json();
      };
    });
    CLI::App *test = command(&app_, "command",
                             "Makes the agent run a test command: 1 extensions, 2 certificate store, 3 transport\n"
                             "certificate and key, 4 protocol configuration (all into its log), 99 exit for restart",
                             [&o] {
                               kelvanectl::run_command(o.command, pid_file(o), o.wait);
                               return Json();
                             });
    test->add_option("N", o.command)->required();
    test->add_option("--pid-file", o.pid_file, "Default: /var/run/kelvane.pid below the root")->type_name("F");
    test->add_option("--wait", o.wait, "Seconds to wait until it is served; 0: do not wait")
        ->type_name("SECONDS")
        ->capture_default_str();
  }

  static std::string pid_file(const Options &options) {
    return options.pid_file.empty() ? options.root + "/var/run/kelvane.pid" : options.pid_file;
  }

  int execute() {
    reference_set_root(options_.root.c_str());
    if (conf_init() != 0) {
      throw kelvanectl::Failure("the configuration cannot be opened: " + reference_database_path());
    }
    const struct Connection {
      ~Connection() { conf_end(); }
    } connection;
    const Json result = action_();
    if (!result.is_null()) {
      std::fputs((options_.json ? kelvanectl::as_json(result) : kelvanectl::as_text(result)).c_str(), stdout);
    }
    return std::fflush(stdout) == 0 ? kelvanectl::kDone : kelvanectl::kFailed;
  }

  CLI::App app_;
  Options options_;
  Action action_;
};

}  // namespace

int main(int count, char **arguments) {
  return Program().run(count, arguments);
}
