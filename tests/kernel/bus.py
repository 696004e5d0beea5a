"""A CAN bus of two nodes inside a test kernel: two serial-line CAN interfaces on two pseudo-terminals whose far ends are
wired together here, one frame per 1.1 ms as on a bus at 125 kbit/s. Prints "ready". Standard input is the controller of
the first interface: a line of the serial-line protocol is handed to that one. Stopped by SIGSTOP, nothing passes."""
import fcntl
import os
import select
import struct
import termios
import time
import tty

SERIAL_LINE_CAN = struct.pack("i", 17)
FRAME_SIZE, FRAME_S = 27, 0.0011

ends = [os.openpty() for _ in range(2)]
for _, line in ends:
    tty.setraw(line)
    fcntl.ioctl(line, termios.TIOCSETD, SERIAL_LINE_CAN)
os.sched_setscheduler(0, os.SCHED_FIFO, os.sched_param(1))  # a wire does not wait for its turn
print("ready", flush=True)
receivers = {0: ends[0][0], ends[0][0]: ends[1][0], ends[1][0]: ends[0][0]}
while True:
    for fd in select.select(list(receivers), [], [])[0]:
        os.write(receivers[fd], os.read(fd, FRAME_SIZE))
        time.sleep(FRAME_S)
