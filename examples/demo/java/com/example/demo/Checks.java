package com.example.demo;

import com.vorlix.quen.wb.WbkitAndr;
import java.security.SecureRandom;
import java.util.Arrays;

/** What the library tells apart: right and changed texts, callers that it knows and those that it does not. */
final class Checks {
    private static final byte[] KEYID = Access.bytes("aes256"); // has a signing key, see manifest.toml
    private static final byte[] TEXT = Access.bytes("pay 100 to Alice");
    private static final byte[] CHANGED_TEXT = Access.bytes("pay 900 to Alice");

    private final Access access;
    private boolean good = true;

    private Checks(Access access) {
        this.access = access;
    }

    /** Returns whether everything was accepted and refused as it has to be. */
    static boolean run(Access access) {
        System.out.println("\nAccepted and refused; the log tells why.");
        Checks checks = new Checks(access);
        checks.signature();
        checks.gcm();
        checks.caller();
        return checks.good;
    }

    private void signature() {
        byte[] signature = WbkitAndr.signature(access.token, Access.CALLER, TEXT, Access.WBID, KEYID, Access.VERSION);
        expect("signature", true, verified(signature, TEXT));
        expect("signature of a text that was changed", false, verified(signature, CHANGED_TEXT));
    }

    private boolean verified(byte[] signature, byte[] text) {
        return WbkitAndr.verify(access.token, Access.CALLER, signature, text, Access.WBID, KEYID, Access.VERSION) == 0;
    }

    private void gcm() {
        byte[] iv = Mode.AES_GCM.newIv(new SecureRandom());
        byte[] ciphertext = Mode.AES_GCM.encrypt(access, KEYID, iv, TEXT);
        expect("GCM ciphertext", true, Arrays.equals(TEXT, Mode.AES_GCM.decrypt(access, KEYID, iv, ciphertext)));
        ciphertext[ciphertext.length - 1] ^= 1;
        expect("GCM ciphertext with its tag changed", false,
                Mode.AES_GCM.decrypt(access, KEYID, iv, ciphertext) != null);
    }

    private void caller() {
        byte[] wrong = access.token.clone();
        wrong[0] ^= 1;
        byte[] stranger = Access.bytes("com.example.other");
        expect("caller", true, isAdmitted(access.token, Access.CALLER));
        expect("caller with a wrong token", false, isAdmitted(wrong, Access.CALLER));
        expect("caller outside the whitelist", false, isAdmitted(access.token, stranger));
    }

    private static boolean isAdmitted(byte[] token, byte[] caller) {
        return WbkitAndr.getAppid(token, caller, Access.WBID, Access.VERSION) != null;
    }

    private void expect(String what, boolean right, boolean accepted) {
        good &= accepted == right;
        System.out.printf("%-36s  %s%s%n", what, accepted ? "accepted" : "refused", accepted == right ? "" : ": WRONG");
    }
}
