"""Loads modules with RTLD_GLOBAL, as Python programs do, and starts the last one through its function list.

    global_host.py [OTHER_MODULE]... library|front FILE
"""
import ctypes
import os
import sys


class Place(ctypes.Structure):
    """What the loader knows of an address (Dl_info)."""

    _fields_ = [
        ("file", ctypes.c_char_p),
        ("base", ctypes.c_void_p),
        ("symbol", ctypes.c_char_p),
        ("address", ctypes.c_void_p),
    ]


def file_of(address):
    """The file that an address was loaded from."""
    place = Place()
    dladdr = ctypes.CDLL(None).dladdr
    dladdr.argtypes = [ctypes.c_void_p, ctypes.POINTER(Place)]
    assert dladdr(address, ctypes.byref(place)) != 0
    return os.fsdecode(place.file)


def main():
    """Ends with an error when a function is not the module's own, or does not work."""
    *others, kind, file = sys.argv[1:]
    kept = [ctypes.CDLL(other, mode=ctypes.RTLD_GLOBAL) for other in others]
    module = ctypes.CDLL(file, mode=ctypes.RTLD_GLOBAL)
    functions_start, number = (8, ctypes.c_ulong) if kind == "front" else (2, ctypes.c_uint32)
    function_list = ctypes.c_void_p()
    assert module.C_GetFunctionList(ctypes.byref(function_list)) == 0
    functions = (ctypes.c_char * (68 * 8)).from_address(function_list.value + functions_start)
    addresses = [int.from_bytes(functions[8 * i:8 * i + 8], "little") for i in range(68)]
    for address in addresses:
        found = file_of(address)
        assert os.path.samefile(found, file), found
    pointer = ctypes.c_void_p
    initialize = ctypes.CFUNCTYPE(number, pointer)(addresses[0])
    finalize = ctypes.CFUNCTYPE(number, pointer)(addresses[1])
    get_slot_list = ctypes.CFUNCTYPE(number, ctypes.c_ubyte, pointer, pointer)(addresses[4])
    assert initialize(None) == 0
    count = number()
    assert get_slot_list(1, None, ctypes.addressof(count)) == 0
    assert count.value == 2, count
    assert finalize(None) == 0
    assert len(kept) == len(others)


main()
