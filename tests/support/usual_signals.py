"""What a test does to the programs that it interrupts."""

import signal


def usual_signals():
    """For preexec_fn: a runner may ignore or block what a test is going to send, as one under nohup
    does, and a program takes that over."""
    sent = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
    for number in sent:
        signal.signal(number, signal.SIG_DFL)
    signal.pthread_sigmask(signal.SIG_UNBLOCK, sent)
