// Uses the key of a slot of the card with miekg/pkcs11 as a program in Go would: with an empty code, the card's keyboard asks.
// Signs the file "document" into "signature", and with the ordinary key decrypts "encrypted" into "decrypted".
// Usage: client MODULE TOKEN
package main

import (
	"errors"
	"log"
	"os"

	"github.com/miekg/pkcs11"
)

func findKey(module *pkcs11.Ctx, session pkcs11.SessionHandle) (pkcs11.ObjectHandle, error) {
	template := []*pkcs11.Attribute{pkcs11.NewAttribute(pkcs11.CKA_CLASS, pkcs11.CKO_PRIVATE_KEY)}
	if err := module.FindObjectsInit(session, template); err != nil {
		return 0, err
	}
	found, _, err := module.FindObjects(session, 1)
	if err != nil {
		return 0, err
	}
	if len(found) == 0 {
		return 0, errors.New("no key")
	}
	return found[0], module.FindObjectsFinal(session)
}

func openSession(module *pkcs11.Ctx, token string) (pkcs11.SessionHandle, error) {
	slots, err := module.GetSlotList(true)
	if err != nil {
		return 0, err
	}
	for _, slot := range slots {
		info, err := module.GetTokenInfo(slot)
		if err != nil {
			return 0, err
		}
		if info.Label == token {
			return module.OpenSession(slot, pkcs11.CKF_SERIAL_SESSION)
		}
	}
	return 0, errors.New("no such token")
}

func sign(module *pkcs11.Ctx, session pkcs11.SessionHandle, key pkcs11.ObjectHandle) error {
	document, err := os.ReadFile("document")
	if err != nil {
		return err
	}
	mechanism := []*pkcs11.Mechanism{pkcs11.NewMechanism(pkcs11.CKM_SHA256_RSA_PKCS, nil)}
	if err := module.SignInit(session, mechanism, key); err != nil {
		return err
	}
	signature, err := module.Sign(session, document)
	if err != nil {
		return err
	}
	return os.WriteFile("signature", signature, 0600)
}

func decrypt(module *pkcs11.Ctx, session pkcs11.SessionHandle, key pkcs11.ObjectHandle) error {
	encrypted, err := os.ReadFile("encrypted")
	if err != nil {
		return err
	}
	mechanism := []*pkcs11.Mechanism{pkcs11.NewMechanism(pkcs11.CKM_RSA_PKCS, nil)}
	if err := module.DecryptInit(session, mechanism, key); err != nil {
		return err
	}
	decrypted, err := module.Decrypt(session, encrypted)
	if err != nil {
		return err
	}
	return os.WriteFile("decrypted", decrypted, 0600)
}

func use(module *pkcs11.Ctx, token string) error {
	session, err := openSession(module, token)
	if err != nil {
		return err
	}
	defer module.CloseSession(session)
	if err := module.Login(session, pkcs11.CKU_USER, ""); err != nil {
		return err
	}
	defer module.Logout(session)
	key, err := findKey(module, session)
	if err != nil {
		return err
	}
	if err := sign(module, session, key); err != nil {
		return err
	}
	if token == "Sig_EP" {
		return decrypt(module, session, key)
	}
	return nil
}

func main() {
	module := pkcs11.New(os.Args[1])
	if err := module.Initialize(); err != nil {
		log.Fatal(err)
	}
	err := use(module, os.Args[2])
	module.Finalize()
	if err != nil {
		log.Fatal(err)
	}
}
