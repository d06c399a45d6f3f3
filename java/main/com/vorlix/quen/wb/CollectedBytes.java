package com.vorlix.quen.wb;

import java.security.ProviderException;
import java.util.Arrays;

/** A text that comes in pieces and is needed as a whole. It may be secret: what is left behind is wiped. */
final class CollectedBytes {
    private static final byte[] NONE = {};

    /** What an array of the virtual machine may have. */
    private static final long MOST = Integer.MAX_VALUE - 8;

    private byte[] bytes = NONE;
    private int size;

    int size() {
        return size;
    }

    void add(byte[] piece, int offset, int length) {
        int needed = sizeWith(length);
        if (needed > bytes.length) {
            byte[] old = bytes;
            bytes = Arrays.copyOf(old, (int) Math.min(MOST, 2L * needed));
            Arrays.fill(old, 0, size, (byte) 0);
        }
        System.arraycopy(piece, offset, bytes, size, length);
        size = needed;
    }

    /** The text with one more piece as an array of that size: the piece's own if there is nothing else in it. */
    byte[] with(byte[] piece, int offset, int length) {
        if (size == 0 && offset == 0 && length == piece.length) {
            return piece;
        }
        byte[] whole = new byte[sizeWith(length)];
        System.arraycopy(bytes, 0, whole, 0, size);
        System.arraycopy(piece, offset, whole, size, length);
        return whole;
    }

    byte[] toArray() {
        return with(NONE, 0, 0);
    }

    void clear() {
        Arrays.fill(bytes, 0, size, (byte) 0);
        size = 0;
    }

    private int sizeWith(int more) {
        long sum = (long) size + more;
        if (sum > MOST) {
            throw new ProviderException("The text has " + sum + " bytes, and is collected in an array, which has at"
                    + " most " + MOST + ". Divide it.");
        }
        return (int) sum;
    }
}
