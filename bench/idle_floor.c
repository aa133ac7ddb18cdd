/* The floor under an idle pass: the system calls that it cannot do without, and nothing else.
 *
 *   idle_floor FILE      runs until killed; FILE is rewritten on every turn
 */
#include <fcntl.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

int main(int argc, char **argv) {
    static const char text[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n<status>\r\n  <state>idle</state>\r\n"
                               "  <progress>-1</progress>\r\n  <detail></detail>\r\n</status>\r\n";
    int pair[2];
    if (argc != 2 || socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0)
        return 2;
    for (;;) {
        struct pollfd entry = {pair[0], POLLIN, 0};
        poll(&entry, 1, 0);
        int file = open(argv[1], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (file >= 0 && write(file, text, strlen(text)) >= 0)
            close(file);
        usleep(10000);
    }
}
