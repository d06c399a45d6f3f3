package com.vorlix.quen.wb;

import java.io.IOException;
import java.security.GeneralSecurityException;
import java.util.Arrays;

/** The format of segmented files, which docs/segmented-files.md tells, and how far its writer or reader has come. */
final class Segments {
    /** The text of every segment but the last one, which may be shorter. */
    static final int TEXT = 64 << 10;
    /** The format's name and version, and the nonce prefix. */
    static final int HEADER = 13;

    private static final byte[] MAGIC = {'Q', 'W', 'S', 1};
    private static final int COUNTER_END = 1 << 23;

    private final WhiteboxKey key;
    private final byte[] header;
    /** What every segment authenticates beside its text: the header and the caller's additional data. */
    private final byte[] aad;
    private int counter;

    private Segments(WhiteboxKey key, byte[] header, byte[] aad) {
        this.key = key;
        this.header = header;
        this.aad = Arrays.copyOf(header, HEADER + aad.length);
        System.arraycopy(aad, 0, this.aad, HEADER, aad.length);
    }

    static Segments create(WhiteboxKey key, byte[] aad) {
        byte[] header = RandomBytes.of(HEADER);
        System.arraycopy(MAGIC, 0, header, 0, MAGIC.length);
        return new Segments(key, header, aad);
    }

    /** Continues from a header that was read, in its full length. */
    static Segments read(WhiteboxKey key, byte[] header, byte[] aad) throws IOException {
        if (!Arrays.equals(Arrays.copyOf(header, MAGIC.length), MAGIC)) {
            throw new IOException("This is no segmented file of version 1. Read it with what has written it.");
        }
        return new Segments(key, header, aad);
    }

    byte[] header() {
        return header;
    }

    byte[] seal(byte[] text, boolean last) throws IOException, GeneralSecurityException {
        return Gcm.encrypt(key, nextNonce(last), aad, text);
    }

    byte[] open(byte[] sealed, boolean last) throws IOException, GeneralSecurityException {
        return Gcm.decrypt(key, nextNonce(last), aad, sealed);
    }

    /** The prefix, then the number of the segment and whether it is the last one: no nonce comes twice. */
    private byte[] nextNonce(boolean last) throws IOException {
        if (counter == COUNTER_END) {
            throw new IOException("A segmented file has at most " + COUNTER_END + " segments of " + TEXT + " bytes."
                    + " Split the text.");
        }
        int tail = counter++ << 1 | (last ? 1 : 0);
        byte[] nonce = Arrays.copyOfRange(header, MAGIC.length, MAGIC.length + Gcm.NONCE);
        for (int i = 0; i < 3; i++) {
            nonce[Gcm.NONCE - 1 - i] = (byte) (tail >> 8 * i);
        }
        return nonce;
    }
}
