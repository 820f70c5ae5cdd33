#include "tools/kelvanectl/agent.h"

#include <signal.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <thread>

#include "platform/platform.h"
#include "tools/kelvanectl/failure.h"

namespace kelvanectl {
namespace {

constexpr uint32_t kRestart = 99;

ncfg_debug_zone &debug_record() {
  if (nCfg_debug_zone == nullptr) {
    throw Failure("there is no debug record");
  }
  return *nCfg_debug_zone;
}

bool served() {
  return (__atomic_load_n(&debug_record().flags, __ATOMIC_SEQ_CST) & NCFG_DEBUG_FLAG_SERVED) != 0;
}

std::string text_of(const char *text, size_t size) {
  return std::string(text, strnlen(text, size));
}

// Empty when the system does not tell.
std::string program_of(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
  std::string name;
  std::getline(file, name);
  return name;
}

bool is_gone(pid_t pid) {
  return kill(pid, 0) != 0 && errno == ESRCH;
}

pid_t read_pid(const std::string &pid_file) {
  std::ifstream file(pid_file);
  if (!file) {
    throw Failure("no agent runs: there is no pid file " + pid_file, kNoAgent);
  }
  pid_t pid = 0;
  if (!(file >> pid) || pid <= 1) {
    throw Failure("no agent runs: " + pid_file + " holds no process id", kNoAgent);
  }
  return pid;
}

pid_t agent_of(const std::string &pid_file) {
  const pid_t pid = read_pid(pid_file);
  const std::string stale = "no agent runs: the pid file " + pid_file + " is stale, ";
  if (is_gone(pid)) {
    throw Failure(stale + "there is no process " + std::to_string(pid), kNoAgent);
  }
  // The signal ends a program that does not expect it, so it goes to nobody else.
  const std::string program = program_of(pid);
  if (!program.empty() && program.rfind("kelvane", 0) != 0) {
    throw Failure(stale + "process " + std::to_string(pid) + " is " + program, kNoAgent);
  }
  return pid;
}

void signal_agent(pid_t pid, uint32_t command) {
  ncfg_debug_zone &record = debug_record();
  __atomic_fetch_and(&record.flags, static_cast<uint8_t>(~NCFG_DEBUG_FLAG_SERVED), __ATOMIC_SEQ_CST);
  __atomic_store_n(&record.test_command, command, __ATOMIC_SEQ_CST);
  if (kill(pid, SIGUSR2) != 0) {
    __atomic_store_n(&record.test_command, 0u, __ATOMIC_SEQ_CST);
    throw Failure("the agent (process " + std::to_string(pid) + ") cannot be signalled", kNoAgent);
  }
}

}  // namespace

Json debug_show() {
  const ncfg_debug_zone &record = debug_record();
  return {{"agent_debug_level", record.agent_debug_level},
          {"test_command", record.test_command},
          {"served", served()},
          {"os_version", text_of(record.os_version, sizeof record.os_version)},
          {"host_name", text_of(record.host_name, sizeof record.host_name)}};
}

Json debug_level() {
  return {{"agent_debug_level", debug_record().agent_debug_level}};
}

void set_debug_level(int32_t level) {
  __atomic_store_n(&debug_record().agent_debug_level, level, __ATOMIC_SEQ_CST);
}

void run_command(uint32_t command, const std::string &pid_file, unsigned wait) {
  using Clock = std::chrono::steady_clock;
  const pid_t pid = agent_of(pid_file);
  signal_agent(pid, command);
  if (wait == 0) {
    return;
  }
  const Clock::time_point end = Clock::now() + std::chrono::seconds(wait);
  while (!served()) {
    if (is_gone(pid)) {
      if (command == kRestart) {
        return;
      }
      throw Failure("the agent (process " + std::to_string(pid) + ") ended without serving the command", kNoAgent);
    }
    if (Clock::now() >= end) {
      throw Failure("the agent did not serve the command within " + std::to_string(wait) + " s", kTimedOut);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

}  // namespace kelvanectl
