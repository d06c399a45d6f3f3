package com.vorlix.quen.wb;

import java.security.InvalidAlgorithmParameterException;
import java.util.Arrays;
import java.util.Objects;
import javax.crypto.BadPaddingException;
import javax.crypto.IllegalBlockSizeException;

/** A stream mode with a padding, over a text in pieces. One thread at a time. */
final class StreamCipher {
    private static final int BLOCK = StreamEngine.BLOCK;

    private final StreamEngine engine;
    private final Padding padding;
    private final boolean encrypting;
    private final boolean unpadding;
    private long length;
    /** A call failed: the state may have moved on without its text. */
    private boolean broken;
    /** The end of what was decrypted: its last block, or less as long as it is incomplete. It may be padding. */
    private byte[] held = {};

    StreamCipher(WhiteboxKey key, StreamMode mode, Padding padding, boolean encrypting, byte[] iv)
            throws InvalidAlgorithmParameterException {
        StreamEngine.checkIv(iv);
        this.engine = new StreamEngine(key, mode, encrypting, iv);
        this.padding = padding;
        this.encrypting = encrypting;
        this.unpadding = !encrypting && padding != Padding.NONE;
    }

    private StreamCipher(StreamCipher other) {
        this.engine = other.engine.copy();
        this.padding = other.padding;
        this.encrypting = other.encrypting;
        this.unpadding = other.unpadding;
        this.length = other.length;
        this.broken = other.broken;
        this.held = other.held.clone();
    }

    /** One that goes on from here by itself. */
    StreamCipher copy() {
        return new StreamCipher(this);
    }

    static StreamCipher of(WhiteboxKey key, StreamMode mode, Padding padding, boolean encrypting, byte[] iv)
            throws InvalidAlgorithmParameterException {
        Objects.requireNonNull(key, "key");
        Objects.requireNonNull(mode, "mode");
        Objects.requireNonNull(padding, "padding");
        Objects.requireNonNull(iv, "iv");
        return new StreamCipher(key, mode, padding, encrypting, iv);
    }

    /** The bytes that an update with so many more, and the end, give together at most. */
    long outputSize(long more) {
        return held.length + more + (encrypting ? padding.sizeAfter(length + more) : 0);
    }

    /** Returns how many bytes were written. The arrays may be one, and the ranges in it may overlap. */
    int update(byte[] in, int inOffset, int count, byte[] out, int outOffset) throws WbkitException {
        begin();
        int ready = count;
        if (unpadding) {
            ready = decrypt(in, inOffset, count, out, outOffset);
        } else {
            length += count;
            engine.process(in, inOffset, count, out, outOffset);
        }
        broken = false;
        return ready;
    }

    private int decrypt(byte[] in, int inOffset, int count, byte[] out, int outOffset) throws WbkitException {
        byte[] decrypted = new byte[count];
        try {
            engine.process(in, inOffset, count, decrypted, 0);
            return exchange(decrypted, count, out, outOffset);
        } finally {
            Secrets.wipe(decrypted);
        }
    }

    /** The bytes that so many more of input give now: {@link #outputSize} without the end. */
    int updateSize(int more) {
        long certain = Math.max(0L, (long) held.length + more - 1) / BLOCK * BLOCK;
        return unpadding ? (int) certain : more;
    }

    /** An update of at most a piece. The array begins with as many bytes as {@link #updateSize} says. */
    byte[] update(byte[] in, int count) throws WbkitException {
        begin();
        byte[] result = engine.process(in, count);
        byte[] ready = result;
        if (!unpadding) {
            length += count;
        } else {
            try {
                ready = new byte[updateSize(count)];
                exchange(result, count, ready, 0);
            } finally {
                Secrets.wipe(result);
            }
        }
        broken = false;
        return ready;
    }

    /** Throws after a failure. Until the caller has succeeded, it counts as having failed. */
    private void begin() {
        requireUsable();
        broken = true;
    }

    void requireUsable() {
        if (broken) {
            throw new IllegalStateException("This failed before, in the middle of its text. Begin again: call init, or"
                    + " make a new stream.");
        }
    }

    /** The rest of the text, after which nothing may follow. */
    byte[] finish() throws WbkitException, BadPaddingException, IllegalBlockSizeException {
        requireUsable();
        if (encrypting) {
            byte[] filler = padding.after(length);
            engine.process(filler, 0, filler.length, filler, 0);
            return filler;
        }
        if (!unpadding) {
            return held;
        }
        if (length == 0 || length % BLOCK != 0) {
            throw wrongLength(length);
        }
        return Arrays.copyOf(held, held.length - padding.countAtEndOf(held));
    }

    void wipe() {
        engine.wipe();
        Secrets.wipe(held);
    }

    static IllegalBlockSizeException wrongLength(long length) {
        return new IllegalBlockSizeException("The ciphertext has " + length + " bytes, but one with padding consists of"
                + " whole blocks of " + BLOCK + ". Pass all of it, or say that there is no padding.");
    }

    /** Takes up what was decrypted, and writes what is certainly no padding. */
    private int exchange(byte[] decrypted, int count, byte[] out, int outOffset) {
        int ready = updateSize(count);
        int old = Math.min(held.length, ready);
        System.arraycopy(held, 0, out, outOffset, old);
        System.arraycopy(decrypted, 0, out, outOffset + old, ready - old);
        byte[] rest = Arrays.copyOfRange(held, old, held.length + count - (ready - old));
        System.arraycopy(decrypted, ready - old, rest, held.length - old, count - (ready - old));
        Secrets.wipe(held);
        held = rest;
        length += count;
        return ready;
    }
}
