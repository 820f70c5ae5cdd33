// The upload of queued telemetry events to the wire server: at most three in a request, one request a call. Called
// through the wire protocol's report_event. Best effort: a failed request drops its events, nothing is retried. Blocks
// for as long as the request takes, deliberately without a time-out.
#ifndef KELVANE_TELEMETRY_EVENT_UPLOAD_H
#define KELVANE_TELEMETRY_EVENT_UPLOAD_H

#include <stdint.h>

#include "include/buffer.h"

namespace kelvane {

// One pass: queues a heartbeat when more than twelve hours passed since the last, then posts what waits. 1 while events
// remain queued, 0 when the queue is empty, -1 when the request document could not be created (the queue stays).
int32_t EventHandler_Process();

// Posts a text body. The libcurl result; -1 when no handle could be made. The answer's body is appended to the buffer.
int32_t HttpPostWithHeaders(const char *url, const char *body, Buffer *response);

}  // namespace kelvane

#endif
