// Uses the card's ordinary key with pkcs11js as a program of Node's would. pkcs11js can't leave the code to the card's keyboard.
// Signs the file "document" into "signature" and decrypts "encrypted" into "decrypted".
// Usage: pkcs11js_client.js MODULE CODE
"use strict";

const assert = require("assert");
const fs = require("fs");
const cryptoki = require("pkcs11js");

const library = new cryptoki.PKCS11();
library.load(process.argv[2]);
library.C_Initialize();
const slot = library.C_GetSlotList(true).find((one) => library.C_GetTokenInfo(one).label.trim() === "Sig_EP");
const session = library.C_OpenSession(slot, cryptoki.CKF_SERIAL_SESSION | cryptoki.CKF_RW_SESSION);

function find(objectClass) {
  library.C_FindObjectsInit(session, [{ type: cryptoki.CKA_CLASS, value: objectClass }]);
  const found = library.C_FindObjects(session, 10);
  library.C_FindObjectsFinal(session);
  return found;
}

function refusalOf(call) {
  try {
    call();
  } catch (error) {
    return error.code;
  }
  return cryptoki.CKR_OK;
}

assert.strictEqual(refusalOf(() => library.C_Login(session, cryptoki.CKU_USER, "000000")), cryptoki.CKR_PIN_INCORRECT);
assert.strictEqual(refusalOf(() => library.C_Login(session, cryptoki.CKU_USER, "")), cryptoki.CKR_PIN_LEN_RANGE);
assert.strictEqual(find(cryptoki.CKO_PRIVATE_KEY).length, 0);
library.C_Login(session, cryptoki.CKU_USER, process.argv[3]);

const key = find(cryptoki.CKO_PRIVATE_KEY)[0];
const [modulusBits, sensitive] = library.C_GetAttributeValue(session, key, [
  { type: cryptoki.CKA_MODULUS_BITS },
  { type: cryptoki.CKA_SENSITIVE },
]);
assert.strictEqual(modulusBits.value.readUInt32LE(), 2048);
assert.strictEqual(sensitive.value[0], 1);

library.C_SignInit(session, { mechanism: cryptoki.CKM_SHA256_RSA_PKCS }, key);
fs.writeFileSync("signature", library.C_Sign(session, fs.readFileSync("document"), Buffer.alloc(256)));

library.C_DecryptInit(session, { mechanism: cryptoki.CKM_RSA_PKCS }, key);
fs.writeFileSync("decrypted", library.C_Decrypt(session, fs.readFileSync("encrypted"), Buffer.alloc(256)));

library.C_Logout(session);
library.C_CloseSession(session);
library.C_Finalize();
