package com.vorlix.quen.wb;

import java.io.File;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.Random;

/** The table libraries that the build made for the tests, with the clear values that stand in their manifests. */
final class TestTables {
    static final byte[] WBID = bytes("jvm");
    static final int ENCODED = 1;
    static final int PLAIN = 2;
    static final int[] VERSIONS = {ENCODED, PLAIN};
    static final byte[] APPID = bytes("com.example.jvm");
    static final byte[] CALLER = bytes("com.example.jvm.tests");
    static final byte[] SK = bytes("jvm test secret key");
    static final byte[] AK = bytes("jvm access key");
    /** The signing key of AES_256; no other key has one. */
    static final byte[] SIGNING_KEY = unhex("000102030405060708090a0b0c0d0e0ff0f1f2f3f4f5f6f7f8f9fafbfcfdfeff");

    /** A key: its id in the table libraries and its clear value. */
    enum Key {
        AES_128("k128", "2b7e151628aed2a6abf7158809cf4f3c"),
        AES_192("k192", "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b"),
        AES_256("k256", "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4"),
        SM4("sm", "0123456789abcdeffedcba9876543210");

        final String text;
        final byte[] id;
        final String hex;

        Key(String id, String hex) {
            this.text = id;
            this.id = bytes(id);
            this.hex = hex;
        }

        /** The keys of a cipher, or of a mode whose name begins with it. */
        static Key[] of(String cipher) {
            return cipher.startsWith("SM4") ? new Key[] {SM4} : new Key[] {AES_128, AES_192, AES_256};
        }
    }

    private TestTables() {}

    /** Loads the library and every table library of the folder, so that the library finds them by their names. */
    static void load() {
        System.load(new File(System.getProperty("wbkit.library")).getAbsolutePath());
        for (String name : new String[] {"jvm_1", "jvm_2", "open_1"}) {
            String file = "libwb_tables_" + name + ".so";
            System.load(new File(System.getProperty("wbkit.tables"), file).getAbsolutePath());
        }
    }

    /** Opens a version with credentials that are accepted. */
    static TableLibrary open(int version) {
        load();
        try {
            return TableLibrary.open("jvm", version, Credentials.fromToken(token(WBID), "com.example.jvm.tests"));
        } catch (WbkitException e) {
            throw new AssertionError(e);
        }
    }

    /** The key of the table library that is encoded. */
    static WhiteboxKey key(Key key) {
        try {
            return open(ENCODED).key(key.text);
        } catch (WbkitException e) {
            throw new AssertionError(e);
        }
    }

    /** The token of a caller of this wbid, computed without the library. */
    static byte[] token(byte[] wbid) {
        return ClearKey.hmac(concat(wbid, APPID), SK);
    }

    static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }

    static byte[] unhex(String hex) {
        byte[] longer = new BigInteger("01" + hex, 16).toByteArray();
        return Arrays.copyOfRange(longer, 1, longer.length);
    }

    static byte[] concat(byte[] a, byte[] b) {
        byte[] joined = Arrays.copyOf(a, a.length + b.length);
        System.arraycopy(b, 0, joined, a.length, b.length);
        return joined;
    }

    static byte[] flip(byte[] bytes, int bit) {
        byte[] changed = bytes.clone();
        changed[bit / 8] ^= (byte) (1 << bit % 8);
        return changed;
    }

    static byte[] random(int length, long seed) {
        byte[] bytes = new byte[length];
        new Random(seed).nextBytes(bytes);
        return bytes;
    }
}
