// Ctrl+C, a lost console and the system's wish that the program ends: a setup hears of it between two stages.
#ifndef INSTALIB_KVSETUP_INTERRUPTION_H
#define INSTALIB_KVSETUP_INTERRUPTION_H

namespace interruption {

// From now on such a wish is noted instead of ending the program, and a reader that has gone away ends nothing.
void Note();
bool Requested();

}  // namespace interruption

#endif
