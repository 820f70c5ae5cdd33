// The main loop: one thread, one turn a second, for ever. Everything that the agent does after start-up is called from
// here, and there are no timers but the two of this module. A turn blocks for as long as what it calls: uploads and
// extension passes take minutes when nothing answers, and whatever fell due meanwhile runs once, in the next turns.
#ifndef KELVANE_CORE_MAIN_LOOP_H
#define KELVANE_CORE_MAIN_LOOP_H

#include "protocol/protocol.h"

namespace kelvane {

// Never returns. The first event upload comes 60 seconds and the first extension pass 25 seconds after the call.
[[noreturn]] void main_loop_run(const Protocol *protocol);

}  // namespace kelvane

#endif
