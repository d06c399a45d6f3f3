package com.vorlix.quen.wb;

import java.io.File;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import javax.crypto.Mac;
import javax.crypto.spec.SecretKeySpec;

/** The table libraries that the build made for the tests, with the clear values that stand in their manifests. */
final class TestTables {
    static final byte[] WBID = bytes("jvm");
    /** Names a table library without a whitelist; the other two admit CALLER alone. */
    static final byte[] OPEN_WBID = bytes("open");
    static final int ENCODED = 1;
    static final int PLAIN = 2;
    static final int[] VERSIONS = {ENCODED, PLAIN};
    static final byte[] APPID = bytes("com.example.jvm");
    static final byte[] CALLER = bytes("com.example.jvm.tests");
    static final byte[] SK = bytes("jvm test secret key");
    static final byte[] AK = bytes("jvm access key");
    static final int BLOCK = 16;

    /** An AES key: its id in the table libraries and its clear value. */
    enum Key {
        AES_128("k128", "2b7e151628aed2a6abf7158809cf4f3c"),
        AES_192("k192", "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b"),
        AES_256("k256", "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4");

        final byte[] id;
        final SecretKeySpec clear;

        Key(String id, String hex) {
            this.id = bytes(id);
            byte[] value = new byte[hex.length() / 2];
            for (int i = 0; i < value.length; i++) {
                value[i] = (byte) Integer.parseInt(hex.substring(2 * i, 2 * i + 2), 16);
            }
            this.clear = new SecretKeySpec(value, "AES");
        }
    }

    private TestTables() {}

    /** Loads the library and every table library of the folder, so that the library finds them by their names. */
    static void load() {
        Loaded.once();
    }

    /** The token of a caller of this wbid, computed without the library. */
    static byte[] token(byte[] wbid) {
        return hmac(concat(wbid, APPID), SK);
    }

    static byte[] hmac(byte[] message, byte[] key) {
        try {
            Mac mac = Mac.getInstance("HmacSHA256");
            mac.init(new SecretKeySpec(key, "HmacSHA256"));
            return mac.doFinal(message);
        } catch (java.security.GeneralSecurityException e) {
            throw new AssertionError(e);
        }
    }

    static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }

    static String text(byte[] bytes) {
        return bytes == null ? null : new String(bytes, StandardCharsets.UTF_8);
    }

    static byte[] concat(byte[] a, byte[] b) {
        byte[] joined = Arrays.copyOf(a, a.length + b.length);
        System.arraycopy(b, 0, joined, a.length, b.length);
        return joined;
    }

    private static final class Loaded {
        static {
            System.load(new File(System.getProperty("wbkit.library")).getAbsolutePath());
            for (String name : new String[] {"jvm_1", "jvm_2", "open_1"}) {
                String file = "libwb_tables_" + name + ".so";
                System.load(new File(System.getProperty("wbkit.tables"), file).getAbsolutePath());
            }
        }

        static void once() {}
    }
}
