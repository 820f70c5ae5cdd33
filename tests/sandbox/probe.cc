// A program in the agent's place: does what its arguments say, one after the other, and prints what came of it.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/reference/reference.h"

namespace {

volatile sig_atomic_t signals_seen = 0;

void on_signal(int) {
  signals_seen = signals_seen + 1;
  nCfg_debug_zone->test_command = 0;
}

void show(const char *what, long value) {
  std::printf("%s %ld\n", what, value);
}

void files() {
  const int made = open("/data/etc/x", O_WRONLY | O_CREAT | O_TRUNC, 0600);
  show("write", write(made, "hello", 5));
  close(made);
  close(made);
  show("access", access("/data/etc/x", F_OK));
  struct stat status = {};
  show("stat", stat("/data/etc/x", &status));
  show("size", status.st_size);
  show("rename", rename("/data/etc/x", "/data/etc/y"));
  show("symlink", symlink("/etc/zoneinfo/UTC", "/etc/localtime"));
  show("mkdir", mkdir("/cdrom", 0700));
  FILE *stream = fopen("/data/etc/y", "re");
  show("fopen", stream != nullptr);
  if (stream != nullptr) fclose(stream);
  show("unlink", unlink("/data/etc/y"));
  show("missing", open("/data/etc/y", O_RDONLY));
  show("errno", errno == ENOENT);
}

void disc() {
  show("device", open("/dev/sr0", O_RDONLY) >= 0);
  show("udf", mount("/dev/sr0", "/cdrom", "udf", MS_RDONLY, nullptr));
  show("iso9660", mount("/dev/sr0", "/cdrom", "iso9660", MS_RDONLY, nullptr));
  show("file", access("/cdrom/file", F_OK));
  show("copy", ncfg_copyfile("/cdrom/file", "/data/etc/copy"));
  show("umount", umount("/cdrom"));
  show("file", access("/cdrom/file", F_OK));
  show("copied", access("/data/etc/copy", F_OK));
}

void clock_() {
  show("time", time(nullptr));
  show("sleep", sleep(100));
  show("time", time(nullptr));
}

void loop() {
  for (;;) sleep(1);
}

void signals() {
  struct sigaction action = {};
  action.sa_handler = on_signal;
  action.sa_flags = SA_RESTART;
  sigaction(SIGUSR2, &action, nullptr);
  sleep(10);
  show("signals", signals_seen);
  show("other", kill(1, SIGTERM));
}

void platform() {
  cmf_query *query = cmf_query_create(440);
  auto *port = static_cast<ncfg_interface *>(cmf_query_do_table_find(query, 0, "port1", 2));
  show("endpoint", port != nullptr ? static_cast<long>(port->AzureEndpoint) : -1);
  cmf_query_free(query);
  sleep(10);
  query = cmf_query_create(440);
  port = static_cast<ncfg_interface *>(cmf_query_do_table_find(query, 0, "port1", 2));
  show("endpoint", port != nullptr ? static_cast<long>(port->AzureEndpoint) : -1);
  cmf_query_free(query);
  show("write", cmf_write_config(cmf_get_cur_domain_id()));
  message("[kelvane]: a line\nand \"another\"\n");
}

void machine() {
  struct sysinfo info = {};
  sysinfo(&info);
  show("MiB", static_cast<long>(info.totalram * info.mem_unit >> 20));
  show("processors", sysconf(_SC_NPROCESSORS_ONLN));
  show("sethostname", sethostname("gate\0\0\0", 7));
  char name[65] = "";
  gethostname(name, sizeof name);
  std::printf("%s\n", name);
}

// ---- deeds with words: "put:/data/etc/x:text" -------------------------------------------------------------------

using Words = std::vector<std::string>;

Words words_of(const std::string &text) {
  std::istringstream stream(text);
  Words out;
  for (std::string word; std::getline(stream, word, ':');) {
    out.push_back(word);
  }
  return out;
}

void put(const Words &words) {
  const int descriptor = open(words[1].c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  show("put", write(descriptor, words[2].data(), words[2].size()));
  close(descriptor);
}

// A file or a folder.
void make_durable(const Words &words) {
  const int descriptor = open(words[1].c_str(), O_RDONLY | O_CLOEXEC);
  show("fsync", fsync(descriptor));
  close(descriptor);
}

// In pieces of at most 100 bytes, with the size of each.
void print_in_pieces(const Words &words) {
  const int descriptor = open(words[1].c_str(), O_RDONLY | O_CLOEXEC);
  char piece[100];
  for (ssize_t size = 1; size > 0;) {
    std::memset(piece, '.', sizeof piece);
    size = read(descriptor, piece, sizeof piece);
    std::printf("read %zd %.8s\n", size, std::string(piece, 8).c_str());
  }
  close(descriptor);
}

// A file's number is held by another descriptor once it is closed.
void hold_number(const Words &words) {
  const int descriptor = open(words[1].c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  close(descriptor);
  const int held = dup2(STDERR_FILENO, descriptor);
  show("dup2", held == descriptor ? 0 : held);
  show("EMFILE", held < 0 && errno == EMFILE);
  close(descriptor);
}

// What comes behind the first part is written after the sync.
void put_in_two(const Words &words) {
  const int descriptor = open(words[1].c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  show("put", write(descriptor, words[2].data(), words[2].size()));
  show("fsync", fsync(descriptor));
  show("put", write(descriptor, words[3].data(), words[3].size()));
  close(descriptor);
}

void name_host(const Words &words) {
  cmf_query *query = cmf_query_create(100);
  auto *settings = static_cast<ncfg_system_settings *>(cmf_query_update(query));
  std::snprintf(settings->host_name, sizeof settings->host_name, "%s", words[1].c_str());
  show("commit", cmf_query_commit(query));
  cmf_query_free(query);
  show("write", cmf_write_config(cmf_get_cur_domain_id()));
}

void print_host_name(const Words &) {
  cmf_query *query = cmf_query_create(100);
  const auto *settings = static_cast<ncfg_system_settings *>(cmf_query_update(query));
  std::printf("host %s\n", settings != nullptr ? settings->host_name : "none");
  cmf_query_free(query);
}

// So many names one after the other, "n1" the first.
void name_often(const Words &words) {
  for (int i = 1; i <= std::atoi(words[1].c_str()); ++i) {
    name_host({"name", "n" + std::to_string(i)});
  }
}

int checkpoint_soon(sqlite3 *database, const char **, const void *) {
  return sqlite3_wal_autocheckpoint(database, 8);
}

// Into a database of its own that syncs nothing.
void write_unsynced(const Words &words) {
  sqlite3 *database = nullptr;
  const int opened = sqlite3_open((reference_database_path() + "-other").c_str(), &database);
  const std::string sql =
      "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; CREATE TABLE t AS SELECT '" + words[1] + "' AS word";
  show("unsynced", opened == SQLITE_OK ? sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) : opened);
  sqlite3_close(database);
}

const std::map<std::string, void (*)(const Words &)> kWorded = {
    {"put", put},
    {"fsync", make_durable},
    {"put-in-two", put_in_two},
    {"print", print_in_pieces},
    {"hold", hold_number},
    {"name", name_host},
    {"host", print_host_name},
    {"names", name_often},
    {"unsynced", write_unsynced},
    {"unlink", [](const Words &words) { show("unlink", unlink(words[1].c_str())); }},
    {"rename", [](const Words &words) { show("rename", rename(words[1].c_str(), words[2].c_str())); }},
    {"symlink", [](const Words &words) { show("symlink", symlink(words[1].c_str(), words[2].c_str())); }},
    {"copy", [](const Words &words) { show("copy", ncfg_copyfile(words[1].c_str(), words[2].c_str())); }},
    {"put-new", [](const Words &words) { show("open", fopen(words[1].c_str(), "wxe") != nullptr ? 0 : -1); }},
    {"truncate", [](const Words &words) { show("truncate", truncate(words[1].c_str(), std::atoi(words[2].c_str()))); }},
    {"sync", [](const Words &) { sync(); }},
    {"access", [](const Words &words) { show("access", access(words[1].c_str(), F_OK)); }},
    {"open", [](const Words &words) { (void)open(words[1].c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600); }},
    {"copy-of-stderr", [](const Words &) { (void)dup(STDERR_FILENO); }},
    {"socket", [](const Words &) { (void)socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0); }},
    {"event", [](const Words &) { log_system_event(1, 2, 3, "probe", 4, 5, "it happened"); }},
    {"exit", [](const Words &) { exit(7); }},
    {"checkpoints", [](const Words &) {}},  // from the start on, every few pages
};

}  // namespace

int main(int argc, char **argv) {
  const std::map<std::string, void (*)()> deeds = {{"files", files},    {"disc", disc},       {"clock", clock_},
                                                   {"loop", loop},      {"signals", signals}, {"platform", platform},
                                                   {"machine", machine}};
  if (argc > 1 && std::strcmp(argv[1], "checkpoints") == 0) {
    // SQLite takes a function of any kind here, and calls it with these arguments.
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(checkpoint_soon));
  }
  conf_init();
  for (int i = 1; i < argc; ++i) {
    const Words words = words_of(argv[i]);
    if (deeds.count(argv[i]) != 0) {
      deeds.at(argv[i])();
    } else {
      kWorded.at(words.at(0))(words);
    }
  }
  conf_end();
  return 3;
}
