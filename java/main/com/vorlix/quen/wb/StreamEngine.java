package com.vorlix.quen.wb;

import java.security.InvalidAlgorithmParameterException;
import java.util.Arrays;

/**
 * A stream mode over a text that comes in pieces of any size: the natives know whole texts only, so the state of the
 * mode is kept here. One thread at a time.
 *
 * <p>What the cipher encrypts next stands in the register, and is what a native takes as iv. A native runs over whole
 * blocks, the last one filled up with zeros: that gives the rest of its keystream too, so that the next piece can begin
 * within the block.
 */
final class StreamEngine {
    static final int BLOCK = 16;
    /** What a native gets at most: so much that its fixed cost does not count, so little that caches hold it. */
    static final int PIECE = 256 << 10;

    private final WhiteboxKey key;
    private final StreamMode mode;
    private final boolean encrypting;
    private final Algorithm.Stream function;
    private final byte[] register;
    private final byte[] keystream = new byte[BLOCK];
    private final byte[] ciphertext = new byte[BLOCK];
    /** The bytes of the last block that are used; 0 if it is complete. */
    private int begun;
    private boolean wiped;
    /** For pieces that are only a part of an array. */
    private byte[] scratch;

    /** The iv has been checked. */
    StreamEngine(WhiteboxKey key, StreamMode mode, boolean encrypting, byte[] iv) {
        this.key = key;
        this.mode = mode;
        this.encrypting = encrypting;
        Algorithm.Natives natives = key.algorithm().natives(mode);
        this.function = encrypting ? natives.encrypt : natives.decrypt;
        this.register = iv.clone();
    }

    private StreamEngine(StreamEngine other) {
        this.key = other.key;
        this.mode = other.mode;
        this.encrypting = other.encrypting;
        this.function = other.function;
        this.register = other.register.clone();
        System.arraycopy(other.keystream, 0, keystream, 0, BLOCK);
        this.begun = other.begun;
    }

    /** One that goes on from here by itself. */
    StreamEngine copy() {
        return new StreamEngine(this);
    }

    static void checkIv(byte[] iv) throws InvalidAlgorithmParameterException {
        if (iv.length != BLOCK) {
            throw new InvalidAlgorithmParameterException("The iv has " + iv.length + " bytes. Pass " + BLOCK + ".");
        }
    }

    /** Runs over so many bytes. The arrays may be one, and the ranges in it may overlap. */
    void process(byte[] in, int inOffset, int length, byte[] out, int outOffset) throws WbkitException {
        requireUsable();
        if (in != out || outOffset <= inOffset || outOffset - inOffset >= length) {
            processApart(in, inOffset, length, out, outOffset);
            return;
        }
        byte[] copy = Arrays.copyOfRange(in, inOffset, inOffset + length); // would be written before it is read
        try {
            processApart(copy, 0, length, out, outOffset);
        } finally {
            Secrets.wipe(copy);
        }
    }

    /** Runs over at most a {@link #PIECE}. The result is a new array that begins with so many bytes. */
    byte[] process(byte[] in, int length) throws WbkitException {
        requireUsable();
        if (begun == 0 && length != 0) {
            return runNative(in, 0, length);
        }
        return Secrets.written(length, out -> processApart(in, 0, length, out, 0));
    }

    /** Forgets what could help to decrypt. It cannot go on then. */
    void wipe() {
        wiped = true;
        Secrets.wipe(register, keystream, scratch);
    }

    private void requireUsable() {
        if (wiped) {
            throw new IllegalStateException("This was ended and wiped. Begin again with a fresh iv.");
        }
    }

    private void processApart(byte[] in, int inOffset, int length, byte[] out, int outOffset) throws WbkitException {
        int done = finishBlock(in, inOffset, length, out, outOffset);
        while (done < length) {
            int size = Math.min(PIECE, length - done);
            byte[] piece = runNative(in, inOffset + done, size);
            System.arraycopy(piece, 0, out, outOffset + done, size);
            Secrets.wipe(piece);
            done += size;
        }
    }

    private int finishBlock(byte[] in, int inOffset, int length, byte[] out, int outOffset) {
        int done = 0;
        for (; begun != 0 && done < length; done++) {
            byte input = in[inOffset + done];
            byte output = (byte) (input ^ keystream[begun]);
            out[outOffset + done] = output;
            if (mode == StreamMode.CFB) { // alone in feeding back what was not known when the block began
                register[begun] = encrypting ? output : input;
            }
            begun = (begun + 1) % BLOCK;
        }
        return done;
    }

    /** At most a piece, at the beginning of a block. */
    private byte[] runNative(byte[] in, int offset, int length) throws WbkitException {
        int rounded = (length + BLOCK - 1) / BLOCK * BLOCK;
        byte[] input = exactly(in, offset, length, rounded);
        byte[] output = key.run(function, register, input);
        byte[] cipher = encrypting ? output : input;
        for (int i = 0, last = rounded - BLOCK; i < BLOCK; i++) {
            keystream[i] = (byte) (input[last + i] ^ output[last + i]);
            ciphertext[i] = cipher[last + i];
        }
        mode.advance(register, keystream, ciphertext, rounded / BLOCK);
        begun = length % BLOCK;
        return output;
    }

    /** Natives take whole arrays: the given one if it fits, otherwise a copy with zeros behind it. */
    private byte[] exactly(byte[] in, int offset, int length, int rounded) {
        if (offset == 0 && length == in.length && length == rounded) {
            return in;
        }
        if (scratch == null || scratch.length != rounded) {
            Secrets.wipe(scratch);
            scratch = new byte[rounded];
        }
        System.arraycopy(in, offset, scratch, 0, length);
        Arrays.fill(scratch, length, rounded, (byte) 0);
        return scratch;
    }
}
