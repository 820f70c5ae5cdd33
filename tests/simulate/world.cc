#include "tests/simulate/world.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "tests/simulate/expectation.h"

namespace simulate {

World *gsWorld = nullptr;

constexpr char kLongName[] =
    "Example.Long.aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
    "bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb"
    "bb"
    "cccccccccccccccccccccccccccccccccccccccc";

// The four that are built in, then names that nobody serves: one without a dot, one that differs in case only from a
// built-in one, one that fills every field, one that is not ASCII.
const char *const kNameTexts[kNames] = {
    "Microsoft.OSTCExtensions.CustomScriptForLinux",
    "Microsoft.Azure.Extensions.LinuxAsm",
    "Microsoft.OSTCExtensions.LinuxDiagnostic",
    "Microsoft.OSTCExtensions.VMAccessForLinux",
    "Example.Monitoring.AgentForLinux",
    "Example.Backup",
    "NoDotInIt",
    "microsoft.ostcextensions.customscriptforlinux",
    kLongName,
    "Example.\xc3\xbc-g",
    "Example.Spare",
};

int row_of(const char *name) {
  const auto found = std::find_if(std::begin(kNameTexts), std::end(kNameTexts),
                                  [name](const char *each) { return std::strcmp(each, name) == 0; });
  return found != std::end(kNameTexts) ? static_cast<int>(found - std::begin(kNameTexts)) : -1;
}

void world_make() {
  void *memory = mmap(nullptr, sizeof(World), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    std::perror("mmap");
    std::exit(2);
  }
  gsWorld = static_cast<World *>(memory);
}

namespace {

constexpr int64_t kFirstStart = 1767225600;  // 2026-01-01T00:00:00Z

void set_habits(World &w) {
  Dice &dice = w.dice;
  const int64_t days = std::max<int64_t>(1, w.until / kDay);
  w.fault_percent = 30;
  w.mean_change = dice.between(8, 120) * kMinute;
  // Restarts cost most of a run: a short run has several a day, a year has one or two a week.
  const int64_t longest = std::min<int64_t>(days * kDay / 4 + 6 * kHour, 5 * kDay);
  w.steady = dice.percent(15);
  w.mean_restart = w.steady ? 0 : dice.between(longest / 4, longest);
  w.mean_cut = w.steady ? 0 : dice.between(longest / 4, longest);
  w.mean_jump = dice.between(6 * kHour, 5 * kDay);
  w.mean_trouble = dice.between(longest / 4, longest);
  w.readable_percent = dice.percent(50) ? 40 : 0;
  const uint32_t service = dice.below(100);
  w.metadata_percent = service < 65 ? 0 : service < 85 ? 100 : 50;
}

void set_media(World &w) {
  Dice &dice = w.dice;
  w.media.there = dice.percent(70);
  w.media.iso = dice.percent(30);
  w.media.password = dice.percent(60);
  w.media.refused = w.media.password && dice.percent(10);
  w.media.custom = dice.percent(50);
  w.media.keys = static_cast<int>(dice.below(5));
}

void set_factory(World &w) {
  Configuration &factory = w.configuration;
  std::snprintf(factory.settings.host_name, sizeof factory.settings.host_name, "appliance");
  std::snprintf(factory.settings.time_zone, sizeof factory.settings.time_zone, "UTC");
  std::snprintf(factory.port.name, sizeof factory.port.name, "port1");
  factory.port.addressing_mode = NCFG_ADDRESSING_DHCP;
  factory.accounts = 1;
  std::snprintf(factory.account[0].record.name, sizeof factory.account[0].record.name, "admin");
  std::snprintf(w.zone.os_version, sizeof w.zone.os_version, "Pellix 7.4");
  // Low in most worlds; high in some, where every line is formatted and dropped.
  w.zone.agent_debug_level = w.dice.percent(20) ? 7 : 1;
  w.written = factory;
  std::memcpy(w.kernel_host, factory.settings.host_name, sizeof w.kernel_host - 1);
}

}  // namespace

void world_begin(uint64_t seed, int64_t seconds) {
  World &w = world();
  const bool log = w.log;
  std::memset(gsWorld, 0, sizeof(World));
  w.log = log;
  w.seed = seed;
  w.dice.state = seed * 0xD1B54A32D192ED03u + 1;
  w.until = seconds;
  w.offset = kFirstStart;
  w.digest = 0xCBF29CE484222325u;
  set_habits(w);
  set_factory(w);
  set_media(w);
  expectation_lost();
}

int64_t wall_clock() {
  return world().now + world().offset;
}

void happened(const char *format, ...) {
  World &w = world();
  char text[sizeof(Happening::text)];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (w.log) {
    std::printf("%10lld  %s\n", static_cast<long long>(w.now), text);
  }
  if (w.happenings > 0) {
    Happening &last = w.ring[(w.happenings - 1) % kRing];
    if (std::strcmp(last.text, text) == 0) {
      last.times++;
      last.last = w.now;
      return;
    }
  }
  Happening &slot = w.ring[w.happenings++ % kRing];
  slot.at = slot.last = w.now;
  slot.times = 1;
  std::memcpy(slot.text, text, sizeof text);
}

namespace {

void print_time(int64_t at) {
  std::printf("day %3lld %02lld:%02lld:%02lld", static_cast<long long>(at / kDay),
              static_cast<long long>(at / kHour % 24), static_cast<long long>(at / kMinute % 60),
              static_cast<long long>(at % 60));
}

}  // namespace

void print_happenings() {
  const World &w = world();
  const uint64_t first = w.happenings > kRing ? w.happenings - kRing : 0;
  for (uint64_t i = first; i < w.happenings; i++) {
    const Happening &each = w.ring[i % kRing];
    std::printf("  ");
    print_time(each.at);
    if (each.times > 1) {
      std::printf("  %s (%u times in %lld s)\n", each.text, each.times, static_cast<long long>(each.last - each.at));
    } else {
      std::printf("  %s\n", each.text);
    }
  }
}

void digest_add(const void *bytes, size_t size) {
  // Eight bytes a step: it is fed with every document.
  const auto *from = static_cast<const unsigned char *>(bytes);
  uint64_t digest = world().digest;
  for (; size >= 8; size -= 8, from += 8) {
    uint64_t word = 0;
    std::memcpy(&word, from, 8);
    digest = (digest ^ word) * 0x9E3779B97F4A7C15u;
    digest ^= digest >> 32;
  }
  for (; size > 0; size--, from++) {
    digest = (digest ^ *from) * 0x100000001B3u;
  }
  world().digest = digest;
}

void broken(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(world().failure, sizeof world().failure, format, arguments);
  va_end(arguments);
  end_life(End::kBroken);
}

void end_life(End end) {
  world().end = end;
  std::fflush(stdout);
  if (end == End::kPowerCut || end == End::kBroken) {
    _exit(0);
  }
  std::exit(0);
}

}  // namespace simulate
