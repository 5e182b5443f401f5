// Every section and key that the library reads of a response file.
#ifndef INSTALIB_KVSETUP_ANSWER_KEYS_H
#define INSTALIB_KVSETUP_ANSWER_KEYS_H

#include "kvsetup/profile_check.h"

std::span<const profile_check::Key> AnswerKeys();

#endif
