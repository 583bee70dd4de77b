"""on_terminal.py COLUMNS ANSWER COMMAND...: runs the command on a terminal of that width, gives the
answer to the first question, and writes what the terminal showed; exits with the command's status."""
import fcntl, os, pty, struct, sys, termios

columns, answer, command = int(sys.argv[1]), sys.argv[2], sys.argv[3:]
ready, go = os.pipe()
child, terminal = pty.fork()
if child == 0:
    os.close(go)
    os.read(ready, 1)  # until the terminal has its width
    os.execvp(command[0], command)
fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack('HHHH', 24, columns, 0, 0))
os.close(go)
shown = b''
asked = False
while True:
    try:
        piece = os.read(terminal, 65536)
    except OSError:  # how Linux reports that nobody is left on the terminal
        break
    if not piece:
        break
    shown += piece
    if not asked and b'? ' in shown:
        asked = True
        os.write(terminal, answer.encode() + b'\n')
sys.stdout.buffer.write(shown)
sys.exit(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
