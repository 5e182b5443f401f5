// How the control functions turn what is thrown inside the machine into a reason for a person.
#ifndef INSTALIB_EMBEDDED_CORE_ATTEMPT_H
#define INSTALIB_EMBEDDED_CORE_ATTEMPT_H

#include <exception>
#include <string>

namespace embedded::control {

// Runs `body`, which gets a text for its reason and answers whether it went well; an exception's text is a reason, too.
// `problem` may be null.
template <class Body>
bool Attempt(std::string* problem, Body body) {
    std::string ignored;
    std::string* const text = problem == nullptr ? &ignored : problem;
    try {
        return body(text);
    } catch (const std::exception& error) {
        *text = error.what();
        return false;
    }
}

}  // namespace embedded::control

#endif
