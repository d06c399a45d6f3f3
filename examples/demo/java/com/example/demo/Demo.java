package com.example.demo;

import com.vorlix.quen.wb.WbkitAndr;
import java.io.DataInputStream;
import java.io.File;
import java.io.FileInputStream;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.security.SecureRandom;
import java.util.Arrays;
import java.util.Locale;

/**
 * Encrypts and decrypts a file with keys that this program never sees: they are tables in a table library.
 *
 * <p>Usage: {@code Demo LIBRARY TABLE_LIBRARY ACCESS_KEY_FILE FILE}. Exits with 0 if every mode gave the file back and
 * a caller with a wrong token was refused, with 1 otherwise.
 */
public final class Demo {
    /** A file is handled in messages of this size, each with an IV of its own, so that any file fits into memory. */
    private static final int MESSAGE_SIZE = 32 << 20;

    private static final byte[] WBID = bytes("demo");
    private static final int VERSION = 1;
    private static final byte[] APPID = bytes("com.example.demo");
    private static final byte[] CALLER = bytes("com.example.demo");

    /** PKCS #5, so that the round trip covers padding and unpadding as well. */
    private static final int PADDING = 1;

    private static final int BLOCK = 16;
    private static final String[] KEYS = {"aes128", "aes192", "aes256"};

    private enum Mode {
        CFB(WbkitAndr::WBkit_AES_CFB_encrypt, WbkitAndr::WBkit_AES_CFB_decrypt),
        OFB(WbkitAndr::WBkit_AES_OFB_encrypt, WbkitAndr::WBkit_AES_OFB_decrypt),
        CTR(WbkitAndr::WBkit_AES_CTR_encrypt, WbkitAndr::WBkit_AES_CTR_decrypt);

        interface Native {
            byte[] run(byte[] hash, byte[] caller, byte[] iv, byte[] input, int padding, byte[] wbid, byte[] keyid,
                    int version);
        }

        final Native encrypt;
        final Native decrypt;

        Mode(Native encrypt, Native decrypt) {
            this.encrypt = encrypt;
            this.decrypt = decrypt;
        }
    }

    private final SecureRandom random = new SecureRandom();
    private final byte[] token;

    private Demo(byte[] token) {
        this.token = token;
    }

    public static void main(String[] args) throws IOException {
        if (args.length != 4) {
            System.err.println("usage: Demo LIBRARY TABLE_LIBRARY ACCESS_KEY_FILE FILE");
            System.exit(2);
        }
        System.load(new File(args[0]).getAbsolutePath());
        System.load(new File(args[1]).getAbsolutePath());
        byte[] token = obtainToken(readAccessKey(args[2]));
        System.out.println("Authorised: sk obtained with ak, token computed with hmac.");
        System.exit(new Demo(token).run(new File(args[3])) ? 0 : 1);
    }

    /** As for the builder of the table library, a newline at the end of the file is no part of the access key. */
    private static byte[] readAccessKey(String file) throws IOException {
        String text = new String(Files.readAllBytes(Paths.get(file)), StandardCharsets.UTF_8);
        return bytes(text.replaceFirst("\\r?\\n\\z", ""));
    }

    /** A token is the HMAC of white-box id and application id under the table library's sk. */
    private static byte[] obtainToken(byte[] accessKey) {
        byte[] sk = WbkitAndr.getSk(accessKey, WBID, VERSION);
        if (sk == null) {
            throw new IllegalStateException("the table library gave no sk; the log has the reason");
        }
        byte[] message = Arrays.copyOf(WBID, WBID.length + APPID.length);
        System.arraycopy(APPID, 0, message, WBID.length, APPID.length);
        return WbkitAndr.hmac(message, sk);
    }

    private boolean run(File file) throws IOException {
        if (file.length() == 0) {
            System.err.println(file + " is empty: an empty text can be encrypted, but its decryption is refused.");
            return false;
        }
        System.out.printf("%nmode  key         bytes  encrypt MB/s  decrypt MB/s   seconds  result%n");
        boolean good = true;
        for (Mode mode : Mode.values()) {
            for (String key : KEYS) {
                good &= roundTrip(mode, key, file);
            }
        }
        return refusesWrongToken() && good;
    }

    private boolean roundTrip(Mode mode, String key, File file) throws IOException {
        byte[] keyid = bytes(key);
        byte[] iv = new byte[BLOCK];
        long size = 0;
        long encryption = 0;
        long decryption = 0;
        boolean same = true;
        try (DataInputStream in = new DataInputStream(new FileInputStream(file))) {
            for (long left = file.length(); left > 0 && same; left -= MESSAGE_SIZE) {
                byte[] plain = new byte[(int) Math.min(left, MESSAGE_SIZE)];
                in.readFully(plain);
                random.nextBytes(iv);
                long start = System.nanoTime();
                byte[] cipher = mode.encrypt.run(token, CALLER, iv, plain, PADDING, WBID, keyid, VERSION);
                long middle = System.nanoTime();
                byte[] decrypted = cipher == null ? null
                        : mode.decrypt.run(token, CALLER, iv, cipher, PADDING, WBID, keyid, VERSION);
                long end = System.nanoTime();
                same = Arrays.equals(plain, decrypted); // null, a refusal, is not the same
                size += plain.length;
                encryption += middle - start;
                decryption += end - middle;
            }
        }
        System.out.printf(Locale.ROOT, "%-4s  %-6s %10d  %12.1f  %12.1f  %8.3f  %s%n", mode, key, size,
                megabytesPerSecond(size, encryption), megabytesPerSecond(size, decryption),
                (encryption + decryption) / 1e9, same ? "same" : "DIFFERENT");
        return same;
    }

    private boolean refusesWrongToken() {
        byte[] wrong = token.clone();
        wrong[0] ^= 1;
        byte[] result = Mode.CTR.encrypt.run(wrong, CALLER, new byte[BLOCK], new byte[BLOCK], PADDING, WBID,
                bytes(KEYS[0]), VERSION);
        System.out.printf("%nA call with a wrong token: %s%n", result == null ? "refused" : "NOT REFUSED");
        return result == null;
    }

    private static double megabytesPerSecond(long bytes, long nanoseconds) {
        return bytes * 1e3 / Math.max(1, nanoseconds);
    }

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }
}
