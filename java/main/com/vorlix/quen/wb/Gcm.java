package com.vorlix.quen.wb;

import java.security.InvalidKeyException;
import javax.crypto.AEADBadTagException;

/** AES-GCM over whole texts, with the tag behind the ciphertext. A success is one call of a native. */
final class Gcm {
    static final int NONCE = 12;
    static final int TAG = 16;

    private Gcm() {}

    static void requireAes(WhiteboxKey key) throws InvalidKeyException {
        if (key.algorithm() != Algorithm.AES) {
            throw new InvalidKeyException("GCM and signatures take AES keys, and " + key
                    + " is none. Use an AES key, or one of the modes CFB, OFB and CTR.");
        }
    }

    /** The nonce is not empty, the key is one of AES. */
    static byte[] encrypt(WhiteboxKey key, byte[] nonce, byte[] aad, byte[] plain) throws WbkitException {
        Access access = key.access();
        byte[] sealed = access.present(token -> WbkitAndr.WBkit_AES_GCM_encrypt(token, access.caller(), nonce, plain,
                aad, access.wbid(), key.idBytes(), access.version()));
        if (sealed == null) {
            throw access.refusal("The encryption");
        }
        return sealed;
    }

    static byte[] decrypt(WhiteboxKey key, byte[] nonce, byte[] aad, byte[] sealed)
            throws WbkitException, AEADBadTagException {
        Access access = key.access();
        byte[] plain = sealed.length < TAG ? null
                : access.present(token -> WbkitAndr.WBkit_AES_GCM_decrypt(token, access.caller(), nonce, sealed, aad,
                        access.wbid(), key.idBytes(), access.version()));
        if (plain == null) {
            throwUnlessAdmitted(access);
            throw badTag();
        }
        return plain;
    }

    static void throwUnlessAdmitted(Access access) throws WbkitException {
        WbkitException problem = access.problem();
        if (problem != null) {
            throw problem;
        }
    }

    static AEADBadTagException badTag() {
        return new AEADBadTagException("The ciphertext is not authentic. Key, version, nonce and additional data have"
                + " to be those of the encryption; if they are, the ciphertext was changed or cut: do not use it.");
    }
}
