package com.vorlix.quen.wb;

import java.nio.Buffer;
import java.nio.ByteBuffer;
import java.security.AlgorithmParameters;
import java.security.InvalidAlgorithmParameterException;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;
import java.util.Arrays;
import javax.crypto.AEADBadTagException;
import javax.crypto.ShortBufferException;
import javax.crypto.spec.GCMParameterSpec;

/**
 * AES-GCM. Nothing comes out before the end: the natives take whole texts, and what is not authentic is not given out.
 */
final class GcmCipherSpi extends WhiteboxCipherSpi {
    private static final int SHORTEST_TAG = 12;

    private final CollectedBytes aad = new CollectedBytes();
    private final CollectedBytes text = new CollectedBytes();
    private WhiteboxKey key;
    private boolean encrypting;
    private byte[] iv;
    private int tagLength;
    /** The text has begun, and no additional data may follow. */
    private boolean begun;
    /** This key and iv have encrypted. */
    private boolean used;
    private WhiteboxKey usedKey;
    private byte[] usedIv;

    GcmCipherSpi() {
        super(Algorithm.AES, GCMParameterSpec.class);
    }

    @Override
    boolean accept(Padding padding) {
        return padding == Padding.NONE;
    }

    @Override
    AlgorithmParameterSpec freshSpec(SecureRandom random) {
        return new GCMParameterSpec(8 * Gcm.TAG, randomBytes(Gcm.NONCE, random));
    }

    @Override
    void start(WhiteboxKey newKey, boolean toEncrypt, AlgorithmParameterSpec parameters)
            throws InvalidAlgorithmParameterException {
        GCMParameterSpec given = (GCMParameterSpec) parameters;
        byte[] newIv = given.getIV();
        int bits = given.getTLen();
        if (newIv.length == 0) {
            throw new InvalidAlgorithmParameterException("The iv is empty. Pass one of " + Gcm.NONCE + " bytes.");
        }
        if (bits % 8 != 0 || bits < 8 * SHORTEST_TAG || bits > 8 * Gcm.TAG) {
            throw new InvalidAlgorithmParameterException("The tag has " + bits + " bits. Ask for 128, 120, 112, 104 or"
                    + " 96.");
        }
        if (toEncrypt && Arrays.equals(newIv, usedIv) && newKey.equals(usedKey)) {
            throw new InvalidAlgorithmParameterException("This iv has encrypted under this key already, and a second"
                    + " text would give both away. Pass a new one for every text.");
        }
        forgetText();
        key = newKey;
        encrypting = toEncrypt;
        iv = newIv;
        tagLength = bits / 8;
        used = false;
    }

    @Override
    protected void engineUpdateAAD(byte[] data, int offset, int length) {
        requireFreshIv();
        if (begun) {
            throw new IllegalStateException("The text has begun. Pass additional data before it.");
        }
        aad.add(data, offset, length);
    }

    @Override
    protected void engineUpdateAAD(ByteBuffer data) {
        byte[] bytes = new byte[data.remaining()];
        data.duplicate().get(bytes);
        engineUpdateAAD(bytes, 0, bytes.length);
        ((Buffer) data).position(data.limit()); // which Java 8 and every Android have
    }

    @Override
    int updateSize(int length) {
        return 0;
    }

    @Override
    long outputSize(int length) {
        long input = (long) text.size() + length;
        return encrypting ? input + tagLength : Math.max(0, input - tagLength);
    }

    @Override
    void update(byte[] in, int inOffset, int length, byte[] out, int outOffset) {
        requireFreshIv();
        begun = true;
        text.add(in, inOffset, length);
    }

    @Override
    byte[] finish(byte[] in, int inOffset, int length, int room)
            throws ShortBufferException, AEADBadTagException, WbkitException {
        requireFreshIv();
        requireRoom(outputSize(length), room);
        byte[] whole = text.with(in, inOffset, length);
        try {
            return encrypting ? encrypt(whole) : decrypt(whole);
        } finally {
            if (whole != in) {
                Secrets.wipe(whole);
            }
            forgetText();
        }
    }

    @Override
    AlgorithmParameters newParameters() throws NoSuchAlgorithmException {
        return AlgorithmParameters.getInstance("GCM");
    }

    @Override
    protected byte[] engineGetIV() {
        return iv == null ? null : iv.clone();
    }

    private byte[] encrypt(byte[] plain) throws WbkitException {
        byte[] sealed = Gcm.encrypt(key, iv, aad.toArray(), plain);
        used = true;
        usedKey = key;
        usedIv = iv;
        return tagLength == Gcm.TAG ? sealed : Arrays.copyOf(sealed, plain.length + tagLength);
    }

    private byte[] decrypt(byte[] sealed) throws AEADBadTagException, WbkitException {
        return tagLength == Gcm.TAG ? Gcm.decrypt(key, iv, aad.toArray(), sealed) : decryptShortTag(sealed);
    }

    /** The natives know whole tags. To encrypt decrypts as well in this mode, and once more gives the whole tag. */
    private byte[] decryptShortTag(byte[] sealed) throws AEADBadTagException, WbkitException {
        if (sealed.length < tagLength) {
            throw Gcm.badTag();
        }
        byte[] data = aad.toArray();
        byte[] ciphertext = Arrays.copyOf(sealed, sealed.length - tagLength);
        byte[] plainAndTag = Gcm.encrypt(key, iv, data, ciphertext);
        byte[] plain = null;
        boolean authentic = false;
        try {
            plain = Arrays.copyOf(plainAndTag, ciphertext.length);
            byte[] expected = Gcm.encrypt(key, iv, data, plain);
            authentic = MessageDigest.isEqual(Arrays.copyOf(expected, sealed.length), sealed);
            if (!authentic) {
                throw Gcm.badTag();
            }
            return plain;
        } finally {
            Secrets.wipe(plainAndTag, authentic ? null : plain);
        }
    }

    private void requireFreshIv() {
        if (used) {
            throw new IllegalStateException("This key and iv have encrypted a text. Call init with another iv for the"
                    + " next.");
        }
    }

    private void forgetText() {
        aad.clear();
        text.clear();
        begun = false;
    }
}
