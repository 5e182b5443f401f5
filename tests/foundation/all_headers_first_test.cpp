// A client that includes the library's headers before the system's own; all_headers_last_test.cpp does the reverse.
#include "instalib.h"

#include "platform/platform.h"
#include "tests/foundation/header_order.h"

HeaderOrder HeadersFirst() { return MeasuredHere(); }
