// The one seam between the program and the controller it runs on.
//
// On the controller every call here is the plain system call or shell command. With VELMORIN_BENCH=DIR in the
// environment (unset or empty: the controller) DIR stands in for the controller: paths below /mnt/nandflash/
// lie below DIR, interface canN is the Unix socket DIR/canN, and no shell command is run. Nothing else in the
// program knows of the bench.
#pragma once

#include <string>

namespace velmorin::platform {

/// The bench folder, or an empty text on the controller.
std::string BenchFolder();

/// On a bench, says so in one line on standard error; on the controller does nothing. Programs call it once.
void AnnounceBench(const char* program);

/// Where `path` lies: on a bench DIR + path for a path that starts with /mnt/nandflash/; else `path` itself.
std::string ResolvePath(const char* path);

/// Where the lock file of that name lies: /run/lock/velmorin-NAME.lock, on a bench DIR/NAME.lock.
std::string LockPath(const std::string& name);

/// Runs `command` in the shell with system() and returns its result: negative when the shell itself could not
/// be run. On a bench runs nothing and returns 0.
int RunShell(const char* command);

/// Opens the descriptor of a bus port: a raw CAN socket (on a bench a Unix SOCK_SEQPACKET one; a hub that
/// goes away must not end the process either, see IgnoreWriteSignals). -1 with errno on failure.
int OpenBusSocket();

/// Looks up interface `name` (at most 15 characters). Returns 0 and stores the interface index, or -1 with
/// errno: ENODEV when there is no such interface, on a bench also when nobody listens on DIR/name. A bench
/// path too long for a Unix socket is reported on standard error and ends the process with status 1.
int FindInterface(int fd, const char* name, int* index);

/// On a bench, whether a read of `count` bytes says that nobody is the bus any more; on the controller never.
bool IsBusGone(long count);

/// Binds the descriptor to the interface of that index. Returns 0, or -1 with errno. A bench socket is bound
/// already.
int BindToInterface(int fd, int index);

}  // namespace velmorin::platform
