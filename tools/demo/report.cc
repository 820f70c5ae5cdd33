#include "tools/demo/report.h"

#include "tools/demo/fabric_client.h"
#include "tools/demo/files.h"
#include "tools/demo/journal.h"
#include "tools/demo/output.h"
#include "tools/demo/step.h"

namespace demo {
namespace {

// Above this level the agent logs decrypted settings, on purpose.
constexpr int kLastQuietLevel = 6;

void show_reports(const Demo &demo) {
  headline("What the agent reported, as the fabric's journal has it");
  for (const std::string &line : reports(demo.journal())) {
    indented(line);
  }
  indented(totals(demo.journal()));
}

Checks fabric_checks(const Demo &demo) {
  Checks checks;
  const Json verdict = Json::parse(http_get(demo.port(), "/_fabric/verdict"));
  for (const Json &finding : verdict.at("expectations")) {
    const std::string name = finding.at("name");
    checks.push_back({"fabric: " + (name == "violations" ? "no request broke a rule of the platform" : name),
                      finding.at("held"), finding.at("explanation")});
  }
  checks.push_back({"fabric: its verdict on the whole run", verdict.at("held"), "it did not hold"});
  return checks;
}

void secret_check(const Demo &demo, Checks &checks) {
  if (demo.options().debug_level > kLastQuietLevel || secrets().empty()) {
    return;
  }
  std::string where;
  for (const std::filesystem::path &file : demo.logs_and_traces()) {
    const std::string text = contents(file);
    if (without_secrets(text) != text) {
      where += (where.empty() ? "in " : ", ") + file.filename().string();
    }
  }
  checks.push_back({"no secret in the agent's log and trace", where.empty(), where});
}

bool show_checks(const Checks &checks) {
  headline("What was expected");
  bool held = true;
  for (const Check &check : checks) {
    held = held && check.held;
    const std::string why = check.held || check.explanation.empty() ? "" : ": " + check.explanation;
    say((check.held ? "  ok    " : "  FAIL  ") + check.name + why, check.held ? Look::kGood : Look::kBad);
  }
  return held;
}

void show_artefacts(const Demo &demo, bool steps) {
  headline("Everything lies in " + demo.options().out.string());
  indented(
      "agent.log      the appliance log\n"
      "trace.txt      each thing the agent did to the outside world, with its second\n" +
      std::string(steps ? "               after a restart: agent-2.log, trace-2.txt\n"
                          "status/        the status document of each step\n"
                        : "") +
      "journal.jsonl  each request and answer, as the fabric saw them\n"
      "media/         the provisioning CD-ROM\n"
      "root/          the appliance's files; root/data/etc/ holds its database");
}

void let_go(Demo &demo) {
  demo.fabric().let_go();
  demo.agent().let_go();
  const std::string ctl = demo.program("kelvanectl") + " --root " + demo.root().string();
  const std::string fabric = "http://127.0.0.1:" + std::to_string(demo.port());
  const std::string agent_pid = std::to_string(demo.agent().pid()), fabric_pid = std::to_string(demo.fabric().pid());
  headline("Fabric and agent run on");
  indented("fabric  pid " + fabric_pid + ", " + fabric + "\nagent   pid " + agent_pid + ", " +
           std::to_string(demo.options().speed) + " agent seconds in a second\n\n" +  //
           "tail -f " + demo.log().string() + "\n" +                                  //
           ctl + " debug level 7\n" +                                                 //
           ctl + " plugins\n" +                                                       //
           "curl " + fabric + "/_fabric/verdict\n" +                                  //
           "curl " + fabric + "/_fabric/status\n" +                                   //
           "\nto end both: kill " + agent_pid + " " + fabric_pid);
}

}  // namespace

bool report(Demo &demo, Checks checks) {
  const bool steps = std::filesystem::exists(demo.options().out / "status");
  show_reports(demo);
  const Checks of_fabric = fabric_checks(demo);
  checks.insert(checks.end(), of_fabric.begin(), of_fabric.end());
  secret_check(demo, checks);
  const bool held = show_checks(checks);
  show_artefacts(demo, steps);
  if (demo.options().keep) {
    let_go(demo);
  }
  say("");
  say(held ? "demo: every expectation held" : "demo: an expectation failed", held ? Look::kGood : Look::kBad);
  return held;
}

}  // namespace demo
