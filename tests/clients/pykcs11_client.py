"""Uses the ordinary key of the first card as a Python program would. Usage: pykcs11_client.py MODULE"""

import sys

import PyKCS11
from PyKCS11 import Mechanism

library = PyKCS11.PyKCS11Lib()
library.load(sys.argv[1])
slot = next(s for s in library.getSlotList(tokenPresent=True) if library.getTokenInfo(s).label.strip() == "Sig_EP")
session = library.openSession(slot, PyKCS11.CKF_SERIAL_SESSION | PyKCS11.CKF_RW_SESSION)

try:
    session.login("000000")
    sys.exit("a wrong code was accepted")
except PyKCS11.PyKCS11Error as error:
    assert error.value == PyKCS11.CKR_PIN_INCORRECT, error
session.login("123456")


def find(object_class):
    return session.findObjects([(PyKCS11.CKA_CLASS, object_class)])[0]


private_key = find(PyKCS11.CKO_PRIVATE_KEY)
public_key = find(PyKCS11.CKO_PUBLIC_KEY)
certificate = find(PyKCS11.CKO_CERTIFICATE)
ids = [session.getAttributeValue(one, [PyKCS11.CKA_ID]) for one in (private_key, public_key, certificate)]
assert ids[0] == ids[1] == ids[2], ids
assert session.getAttributeValue(private_key, [PyKCS11.CKA_MODULUS_BITS]) == [2048]
assert session.getAttributeValue(private_key, [PyKCS11.CKA_SIGN]) == [True]

for name in ("SHA_1", "SHA224", "SHA256", "SHA384", "SHA512"):
    mechanism = Mechanism(getattr(PyKCS11, "CKM_" + name.replace("SHA_1", "SHA1") + "_RSA_PKCS"), None)
    signature = session.sign(private_key, b"a document", mechanism)
    assert session.verify(public_key, b"a document", signature, mechanism), name
    assert not session.verify(public_key, b"another document", signature, mechanism), name
    assert len(session.digest(b"a document", Mechanism(getattr(PyKCS11, "CKM_" + name), None))) > 0

plain = Mechanism(PyKCS11.CKM_RSA_PKCS, None)
encrypted = session.encrypt(public_key, b"a secret", plain)
assert bytes(session.decrypt(private_key, encrypted, plain)) == b"a secret"
assert len(session.generateRandom(16)) == 16
session.logout()
session.closeSession()
print("all went well")
