// A key and a signature that are the same in every run, so that counts are too.
#pragma once

#include "bench/signed_data.h"

#include <botan/hex.h>

namespace counts {

// RSA, 2048 bits. Nobody has the private key.
inline constexpr char modulus[] =
    "a4ff3f953b694b5f20ff7d308955f4bfae4133793ecdfdcad65cd6cdbb3b1e6bf45ccbdd402a59b07120f174227680e2"
    "91fb3f39db1fb21408fc7669671f828cfd25a8cd57f79938c5c992fe67c40bdd978fd41beba829f041da0aec5ad89118"
    "2515523372cfdeac401db80e9d41d86aa3c35e938dc040441b2b77f6f084724ab370ad59e5f20210ea1232bafa4d3954"
    "305c7541e24611e455fbb46430c3c9b170eb0954742de509ccd88b1976e2ba0e80dc835ff43e5a57b62f7e99c1e82dd3"
    "a4621fefb12edf7766ea0bff704b59ff7344554209ff000489bfa11f904060a86528392f0f43144c093196c443c741e6"
    "b7c4488b1e73d9b904e425bd77a70dfb";
// Of a DigestInfo of SHA-256 with a made-up hash.
inline constexpr char signature[] =
    "3af1123acaebee614c137851199691ca57241ef9c715abe4f9f195a884e14fc09f54acaa0f20a42d6aa98d63c77de9fe"
    "0cdd9918d79786f3ed8fa9164f0ceb6c8fdcc4ea16023111bd77a98c388e1f1b0da6462a239961f049843e0bc1a7a4b8"
    "5b137ab611848537180bbb805e37c1522d432caa762cb91c56b6645619fade31c3c2518d11800c772c63587da084dfac"
    "83d6bdf94b917b84af040cf941449fbeb5ef49390ab9c111980a15b2f4ea707556f8eae13d827cfbf2c4d7bae381980b"
    "586e3d0c3aff7a2201d21fd7b927e2f882f1831cb991c532add22c5f9eebd5377b7365eb65e1a032d63277b4839fa551"
    "cd479bd3f0cea2d1209a7d61d4ab2871";

inline bench::SignedData MadeSignature()
{
    return {Botan::hex_decode(modulus), Botan::hex_decode("010001"),
            Botan::hex_decode("3031300d060960864801650304020105000420"
                              "5555555555555555555555555555555555555555555555555555555555555555"),
            Botan::hex_decode(signature)};
}

} // namespace counts
