package com.vorlix.quen.wb;

import java.security.AlgorithmParameters;
import java.security.InvalidAlgorithmParameterException;
import java.security.NoSuchAlgorithmException;
import java.security.Provider;
import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;
import java.util.Arrays;
import javax.crypto.BadPaddingException;
import javax.crypto.IllegalBlockSizeException;
import javax.crypto.ShortBufferException;
import javax.crypto.spec.IvParameterSpec;

/** A stream mode of a cipher, with any padding. */
final class StreamCipherSpi extends WhiteboxCipherSpi {
    private final Provider provider;
    private final Algorithm algorithm;
    private final StreamMode mode;
    private Padding padding = Padding.NONE;
    private byte[] iv;
    private boolean sizeIsCertain;
    /** As the initialisation left it. */
    private StreamCipher initial;
    private StreamCipher cipher;

    StreamCipherSpi(Provider provider, Algorithm algorithm, StreamMode mode) {
        super(algorithm, IvParameterSpec.class);
        this.provider = provider;
        this.algorithm = algorithm;
        this.mode = mode;
    }

    @Override
    boolean accept(Padding chosen) {
        padding = chosen;
        return true;
    }

    @Override
    AlgorithmParameterSpec freshSpec(SecureRandom random) {
        return new IvParameterSpec(randomBytes(StreamEngine.BLOCK, random));
    }

    @Override
    void start(WhiteboxKey key, boolean encrypting, AlgorithmParameterSpec parameters)
            throws InvalidAlgorithmParameterException {
        byte[] newIv = ((IvParameterSpec) parameters).getIV();
        StreamCipher begun = new StreamCipher(key, mode, padding, encrypting, newIv);
        if (initial != null) {
            initial.wipe();
            cipher.wipe();
        }
        iv = newIv;
        sizeIsCertain = encrypting || padding == Padding.NONE;
        initial = begun;
        cipher = begun.copy();
    }

    @Override
    int updateSize(int length) {
        return cipher.updateSize(length);
    }

    @Override
    long outputSize(int length) {
        return cipher.outputSize(length);
    }

    @Override
    void update(byte[] in, int inOffset, int length, byte[] out, int outOffset) throws WbkitException {
        cipher.update(in, inOffset, length, out, outOffset);
    }

    @Override
    byte[] finish(byte[] in, int inOffset, int length, int room)
            throws ShortBufferException, IllegalBlockSizeException, BadPaddingException, WbkitException {
        cipher.requireUsable();
        long most = outputSize(length);
        if (most == 0 && !sizeIsCertain) { // no ciphertext at all, which decrypts to nothing as with other providers
            return new byte[0];
        }
        requireRoom(sizeIsCertain ? most : most - StreamEngine.BLOCK, room);
        // What a padding leaves is known at the end: if it may be too much, that is reached on a copy first.
        boolean trial = most > room;
        boolean stays = false;
        byte[] result;
        try {
            result = finish(trial ? cipher.copy() : cipher, in, inOffset, length, (int) most);
            stays = result.length > room;
        } finally { // whatever was thrown: what has ended must not go on
            if (!stays) {
                reset();
            }
        }
        if (stays) {
            int size = result.length;
            Secrets.wipe(result);
            requireRoom(size, room);
        }
        return result;
    }

    private static byte[] finish(StreamCipher ending, byte[] in, int inOffset, int length, int most)
            throws IllegalBlockSizeException, BadPaddingException, WbkitException {
        byte[] text = null;
        byte[] end = null;
        byte[] result = null;
        try {
            text = new byte[most];
            int size = ending.update(in, inOffset, length, text, 0);
            end = ending.finish();
            System.arraycopy(end, 0, text, size, end.length);
            size += end.length;
            result = size == most ? text : Arrays.copyOf(text, size);
            return result;
        } finally {
            ending.wipe();
            Secrets.wipe(end, result == text ? null : text);
        }
    }

    private void reset() {
        cipher.wipe();
        cipher = initial.copy();
    }

    @Override
    AlgorithmParameters newParameters() throws NoSuchAlgorithmException {
        return algorithm == Algorithm.SM4 ? AlgorithmParameters.getInstance("SM4", provider)
                : AlgorithmParameters.getInstance("AES");
    }

    @Override
    protected byte[] engineGetIV() {
        return iv == null ? null : iv.clone();
    }
}
