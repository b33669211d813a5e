#pragma once

namespace Main {

/// One run of the process: starts the system layer, does what the command line asks for, and shuts the system
/// layer down. Returns the exit code; -1 stands for every exception, whatever its type.
int RunProcess();

/// Chooses between the service host, for the first argument "svc" in any case, and the application. A process
/// that the service control manager did not start is the application too. Returns the exit code.
int Dispatch();

}  // namespace Main
