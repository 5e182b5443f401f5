#include "platform/platform.h"

#include "instalib.h"

#include <gtest/gtest.h>

#include "tests/foundation/header_order.h"

HeaderOrder HeadersFirst();

TEST(HeaderOrderTest, SystemHeaderMayStandBeforeOrBehindTheLibrarys) { EXPECT_EQ(HeadersFirst(), MeasuredHere()); }
