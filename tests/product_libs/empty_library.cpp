// A library that exports nothing.
static_assert(true);
