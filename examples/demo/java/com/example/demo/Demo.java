package com.example.demo;

import java.io.DataInputStream;
import java.io.File;
import java.io.FileInputStream;
import java.io.IOException;
import java.security.SecureRandom;
import java.util.Arrays;
import java.util.Locale;

/**
 * Encrypts and decrypts a file with keys that this program never sees: they are tables in a table library.
 *
 * <p>Usage: {@code Demo LIBRARY TABLE_LIBRARY ACCESS_KEY_FILE FILE}. Exits with 0 if every mode gave the file back and
 * every CMS message its text, and if the library accepted and refused what it has to; with 1 otherwise.
 */
public final class Demo {
    /** A file is handled in pieces of this size, each with an IV of its own, so that any file fits into memory. */
    private static final int PIECE = 32 << 20;
    /** So much of the file's beginning travels in CMS messages. */
    private static final int MESSAGE_TEXT = 64 << 10;

    private static final SecureRandom RANDOM = new SecureRandom();

    private Demo() {}

    public static void main(String[] args) throws IOException {
        if (args.length != 4) {
            System.err.println("usage: Demo LIBRARY TABLE_LIBRARY ACCESS_KEY_FILE FILE");
            System.exit(2);
        }
        File file = new File(args[3]);
        if (file.length() == 0) {
            System.err.println(file + " is empty, and all modes but GCM refuse to decrypt an empty text.");
            System.exit(1);
        }
        System.load(new File(args[0]).getAbsolutePath());
        System.load(new File(args[1]).getAbsolutePath());
        Access access = Access.obtain(args[2]);
        System.out.println("Authorised: sk obtained with ak, token computed with hmac.");

        boolean good = encryptFile(access, file);
        good &= exchangeMessages(access, file);
        good &= Checks.run(access);
        System.exit(good ? 0 : 1);
    }

    private static boolean encryptFile(Access access, File file) throws IOException {
        System.out.printf("%nmode     key         bytes  encrypt MB/s  decrypt MB/s   seconds  result%n");
        boolean good = true;
        for (Mode mode : Mode.values()) {
            for (String key : mode.keys()) {
                good &= roundTrip(access, mode, key, file);
            }
        }
        return good;
    }

    private static boolean roundTrip(Access access, Mode mode, String key, File file) throws IOException {
        byte[] keyid = Access.bytes(key);
        long size = 0;
        long encryption = 0;
        long decryption = 0;
        boolean same = true;
        try (DataInputStream in = new DataInputStream(new FileInputStream(file))) {
            for (long left = file.length(); left > 0 && same; left -= PIECE) {
                byte[] text = new byte[(int) Math.min(left, PIECE)];
                in.readFully(text);
                byte[] iv = mode.newIv(RANDOM);
                long start = System.nanoTime();
                byte[] ciphertext = mode.encrypt(access, keyid, iv, text);
                long middle = System.nanoTime();
                byte[] decrypted = ciphertext == null ? null : mode.decrypt(access, keyid, iv, ciphertext);
                long end = System.nanoTime();
                same = Arrays.equals(text, decrypted); // null, a refusal, is not the same
                size += text.length;
                encryption += middle - start;
                decryption += end - middle;
            }
        }
        System.out.printf(Locale.ROOT, "%s  %-6s %10d  %12.1f  %12.1f  %8.3f  %s%n", mode, key, size,
                megabytesPerSecond(size, encryption), megabytesPerSecond(size, decryption),
                (encryption + decryption) / 1e9, result(same));
        return same;
    }

    private static boolean exchangeMessages(Access access, File file) throws IOException {
        byte[] text = new byte[(int) Math.min(file.length(), MESSAGE_TEXT)];
        try (DataInputStream in = new DataInputStream(new FileInputStream(file))) {
            in.readFully(text);
        }
        System.out.printf("%nCMS      key       text  message  result%n");
        boolean good = true;
        for (Mode mode : Mode.values()) {
            String key = mode.keys()[0];
            byte[] keyid = Access.bytes(key);
            byte[] message = mode.encryptMessage(access, keyid, mode.newIv(RANDOM), text);
            boolean same = message != null && Arrays.equals(text, mode.decryptMessage(access, keyid, message));
            System.out.printf("%s  %-6s  %6d  %7d  %s%n", mode, key, text.length, message == null ? 0 : message.length,
                    result(same));
            good &= same;
        }
        return good;
    }

    private static String result(boolean same) {
        return same ? "same" : "DIFFERENT";
    }

    private static double megabytesPerSecond(long bytes, long nanoseconds) {
        return bytes * 1e3 / Math.max(1, nanoseconds);
    }
}
