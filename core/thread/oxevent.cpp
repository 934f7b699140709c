#include "core/thread/oxevent.h"

// Out of line, so that the classes' virtual tables live in one object file.
COxEvent::~COxEvent() = default;

COxTimerEvent::~COxTimerEvent() = default;
