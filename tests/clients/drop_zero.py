"""Takes the zero byte away that GnuPG 2.2 puts before a card's signature when that begins with a one bit. gpgsm reads it so,
and OpenSSL does not. Usage: drop_zero.py <MESSAGE >MESSAGE, in DER or BER."""

import sys

INDEFINITE = 0x80
END = b"\0\0"
OCTET_STRING = 0x04
CONSTRUCTED = 0x20
SIGNATURE_SIZE = 256


def length_of(text, at):
    """The length that is told there, and where the content begins."""
    first = text[at]
    if first <= INDEFINITE:
        return first, at + 1
    size = first - INDEFINITE
    return int.from_bytes(text[at + 1:at + 1 + size], "big"), at + 1 + size


def told(length):
    if length < INDEFINITE:
        return bytes([length])
    size = (length.bit_length() + 7) // 8
    return bytes([INDEFINITE + size]) + length.to_bytes(size, "big")


def rewrite(text, at):
    """The element there, with definite lengths and without the zero, and where the next one begins."""
    tag = text[at]
    length, begin = length_of(text, at + 1)
    if not tag & CONSTRUCTED:
        content = text[begin:begin + length]
        after = begin + length
        if tag == OCTET_STRING and length == SIGNATURE_SIZE + 1 and content[0] == 0:
            content = content[1:]
    else:
        content = b""
        after = begin
        while text[after:after + 2] != END if length == INDEFINITE else after < begin + length:
            element, after = rewrite(text, after)
            content += element
        if length == INDEFINITE:
            after += len(END)
    return bytes([tag]) + told(len(content)) + content, after


sys.stdout.buffer.write(rewrite(sys.stdin.buffer.read(), 0)[0])
