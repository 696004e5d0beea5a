// The bus port: whole classic CAN frames over one raw SocketCAN socket, see linux/can.h. It knows nothing of
// the update protocol and blocks nowhere but in CAN_Init. One thread uses a port.
#pragma once

#include <linux/can.h>

/// One open port. Made by CAN_Init, owned by the caller, freed by CAN_Close.
struct CAN_Port {
    int fd;      ///< the socket, non-blocking
    int log_on;  ///< 1: every frame is traced on standard output; fixed by CAN_LOG when the port was opened
};
static_assert(sizeof(CAN_Port) == 8);

/// Sets interface can<port> to `bitrate` bit/s, brings it up and opens a port on it that sees every frame.
/// Never returns a failure: one ends the process with exit status 1, after a line on standard error that
/// names the call (none when the shell itself cannot be run). Blocks while the shell commands run. The
/// environment's CAN_LOG "ON" turns the trace on; which one it is is printed unless CAN_LOG is unset or
/// empty.
CAN_Port* CAN_Init(int port, int bitrate);

/// Reads one frame into `frame`. 1: a whole frame, its identifier bare: without flags, except that an error
/// frame keeps CAN_ERR_FLAG. -1: no frame, or fewer than 16 bytes, which is reported on standard error;
/// `frame` then holds nothing of use. Never blocks on a non-blocking port.
int CAN_Read(CAN_Port* port, struct can_frame* frame);

/// Writes one frame to the bus, exactly as given, flag bits included. Never blocks and never retries.
/// 1: all 16 bytes went out. 0: the queue was full or the interface is down; the frame is lost and
/// "write: incomplete CAN frame" stands on standard error. The port stays usable.
int CAN_Write(CAN_Port* port, struct can_frame frame);

/// Makes the socket non-blocking (flag not 0) or blocking (0). Negative when fcntl failed, errno says why.
int CAN_SetNonBlocking(CAN_Port* port, int nonblocking);

/// Closes the socket, frees the port. The interface stays up.
void CAN_Close(CAN_Port* port);
