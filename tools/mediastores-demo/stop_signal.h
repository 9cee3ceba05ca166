// Ctrl-C and SIGTERM end a run early: the handler only raises a flag that the set-up loop and the
// run loop look at; the program then shuts the calls down as at the normal end.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_DEMO_STOP_SIGNAL_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_DEMO_STOP_SIGNAL_H_

namespace msdemo {

// Catches SIGINT and SIGTERM once each; a second one of the same kind ends the process at once.
void InstallStopHandlers();

// The signal that asked the run to stop, 0 while none has.
int StopSignal();

}  // namespace msdemo

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_DEMO_STOP_SIGNAL_H_
