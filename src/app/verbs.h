#pragma once

namespace tav {

class CommandLine;

// The verbs that do one job on a data folder and exit: each returns the
// exit status (0 done, 1 the work failed).
int syncTimeVerb(const CommandLine &command, int &argc, char **argv);
int backupVerb(const CommandLine &command, int &argc, char **argv);
int restoreVerb(const CommandLine &command, int &argc, char **argv);
int sayVerb(const CommandLine &command, int &argc, char **argv);
// --announce, --emergency and --emergency-clear: asked of the station running
// on the folder; 0 only when it took the request.
int stationCommandVerb(const CommandLine &command, int &argc, char **argv);
int emergencyTokenVerb(const CommandLine &command, int &argc, char **argv);
// Sets the web console's manager (or, with --viewer, viewer) password.
int webPasswordVerb(const CommandLine &command, int &argc, char **argv);

} // namespace tav
