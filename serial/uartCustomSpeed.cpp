// Custom line speeds: struct termios2 and its requests (asm/termbits.h, ioctl_tty(2)), which cannot stand in one source
// with <termios.h>.
#include <asm/termbits.h>
#include <sys/ioctl.h>

#include "platform/support/report.h"

int uart_custom_baudrate(int fd, int speed);  // declared in serial/uart.h, whose <termios.h> clashes with the above

int uart_custom_baudrate(int fd, int speed)
{
    if (fd < 0) {
        return 0;
    }
    printOut("[%s] setup up new baud rate to %d\r\n", "uart_custom_baudrate", speed);
    termios2 settings{};
    if (ioctl(fd, TCGETS2, &settings) == 0) {
        settings.c_cflag = (settings.c_cflag & ~static_cast<tcflag_t>(CBAUD)) | BOTHER;
        settings.c_ispeed = static_cast<speed_t>(speed);
        settings.c_ospeed = static_cast<speed_t>(speed);
        // A driver that refuses the speed stays at the standard one: there is nothing better to do.
        ioctl(fd, TCSETS2, &settings);
    }
    return 1;
}
