// Signs the file "document" into "signature" with graphene-pk11 and the card's qualified key, whose PIN the card's keyboard
// asks for; the program has the code. Usage: graphene_client.js MODULE CODE
"use strict";

const fs = require("fs");
const graphene = require("graphene-pk11");

const library = graphene.Module.load(process.argv[2], "Tavrik");
library.initialize();
try {
  const slots = library.getSlots(true);
  const slot = [...Array(slots.length).keys()].map((i) => slots.items(i)).find((one) => one.getToken().label === "Sig_ZEP");
  const session = slot.open(graphene.SessionFlag.SERIAL_SESSION);
  session.login(process.argv[3]);
  const key = session.find({ class: graphene.ObjectClass.PRIVATE_KEY }).items(0).toType();
  const certificate = session.find({ class: graphene.ObjectClass.CERTIFICATE }).items(0).toType();
  fs.writeFileSync("certificate", certificate.value);
  fs.writeFileSync("signature", session.createSign("SHA256_RSA_PKCS", key).once(fs.readFileSync("document")));
  session.logout();
  session.close();
} catch (error) {
  console.error(error.message);
  process.exitCode = 1;
} finally {
  library.finalize();
}
