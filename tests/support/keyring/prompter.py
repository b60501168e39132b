"""Answers the questions of a keyring in its user's place.

Prints its name on the bus, by which the keyring is told of it. Takes commands on standard input: "password WORD"
and "cancel" say how the next question will be answered, "status" nothing. After each it prints whether a question
is still expected, and whether one is being asked.
"""
import ctypes
import sys

library = ctypes.CDLL("libgcr-base-3.so.1")
library.gcr_mock_prompter_start.restype = ctypes.c_char_p
print(library.gcr_mock_prompter_start().decode(), flush=True)
for line in sys.stdin:
    command, *words = line.split()
    if command == "password":
        library.gcr_mock_prompter_expect_password_ok(words[0].encode(), None)
    elif command == "cancel":
        library.gcr_mock_prompter_expect_password_cancel()
    elif command == "delay":
        library.gcr_mock_prompter_set_delay_msec(int(words[0]))
    print(library.gcr_mock_prompter_is_expecting(), library.gcr_mock_prompter_is_prompting(), flush=True)
library.gcr_mock_prompter_stop()
