package com.vorlix.quen.wb;

import java.nio.Buffer;
import java.nio.ByteBuffer;
import java.security.AlgorithmParameters;
import java.security.GeneralSecurityException;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.NoSuchAlgorithmException;
import java.security.ProviderException;
import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.InvalidParameterSpecException;
import javax.crypto.BadPaddingException;
import javax.crypto.Cipher;
import javax.crypto.CipherSpi;
import javax.crypto.IllegalBlockSizeException;
import javax.crypto.NoSuchPaddingException;
import javax.crypto.ShortBufferException;

/** What the ciphers of the provider have in common: the forms that arguments and results come in. */
abstract class WhiteboxCipherSpi extends CipherSpi {
    private static final byte[] NOTHING = {};

    private final Algorithm algorithm;
    private final Class<? extends AlgorithmParameterSpec> specType;
    private AlgorithmParameterSpec spec;

    WhiteboxCipherSpi(Algorithm algorithm, Class<? extends AlgorithmParameterSpec> specType) {
        this.algorithm = algorithm;
        this.specType = specType;
    }

    /** Takes a padding, if the mode goes with it. */
    abstract boolean accept(Padding padding);

    /** Parameters for an encryption that was given none. */
    abstract AlgorithmParameterSpec freshSpec(SecureRandom random);

    /** Begins a text. The parameters are of the constructor's type. */
    abstract void start(WhiteboxKey key, boolean encrypting, AlgorithmParameterSpec parameters)
            throws InvalidAlgorithmParameterException;

    /** How many bytes an update with so many gives. */
    abstract int updateSize(int length);

    /** The bytes that an update with so many more, and the end, give together at most. */
    abstract long outputSize(int length);

    /** The output has room for what {@link #updateSize} says. The arrays may be one. */
    abstract void update(byte[] in, int inOffset, int length, byte[] out, int outOffset) throws WbkitException;

    /** Ends the text with this piece. If the result is longer than there is room, nothing has happened. */
    abstract byte[] finish(byte[] in, int inOffset, int length, int room)
            throws ShortBufferException, IllegalBlockSizeException, BadPaddingException, WbkitException;

    /** Empty parameters of the kind that the cipher has. */
    abstract AlgorithmParameters newParameters() throws NoSuchAlgorithmException;

    static void requireRoom(long needed, int room) throws ShortBufferException {
        if (room < needed) {
            throw new ShortBufferException("The output has room for " + Math.max(0, room) + " bytes, not for " + needed
                    + ". Repeat the call with as much as getOutputSize says.");
        }
    }

    static byte[] randomBytes(int count, SecureRandom random) {
        if (random == null) {
            return RandomBytes.of(count);
        }
        byte[] bytes = new byte[count];
        random.nextBytes(bytes);
        return bytes;
    }

    @Override
    protected final void engineInit(int opmode, Key key, AlgorithmParameterSpec given, SecureRandom random)
            throws InvalidKeyException, InvalidAlgorithmParameterException {
        if (opmode != Cipher.ENCRYPT_MODE && opmode != Cipher.DECRYPT_MODE) {
            throw new UnsupportedOperationException("This cipher neither wraps nor unwraps keys. Encrypt their encoded"
                    + " form.");
        }
        boolean encrypting = opmode == Cipher.ENCRYPT_MODE;
        WhiteboxKey whitebox = ProviderKeys.require(key, algorithm);
        if (given == null && !encrypting) {
            throw new InvalidAlgorithmParameterException("There are no parameters. Pass those of the encryption.");
        }
        if (given != null && !specType.isInstance(given)) {
            throw new InvalidAlgorithmParameterException("The parameters are a " + given.getClass().getName() + ". Pass"
                    + " a " + specType.getName() + ".");
        }
        AlgorithmParameterSpec parameters = given == null ? freshSpec(random) : given;
        start(whitebox, encrypting, parameters);
        spec = parameters;
    }

    @Override
    protected final void engineInit(int opmode, Key key, SecureRandom random) throws InvalidKeyException {
        try {
            engineInit(opmode, key, (AlgorithmParameterSpec) null, random);
        } catch (InvalidAlgorithmParameterException e) {
            throw new InvalidKeyException(e.getMessage(), e); // what this way of initialisation is to throw
        }
    }

    @Override
    protected final void engineInit(int opmode, Key key, AlgorithmParameters given, SecureRandom random)
            throws InvalidKeyException, InvalidAlgorithmParameterException {
        try {
            engineInit(opmode, key, given == null ? null : given.getParameterSpec(specType), random);
        } catch (InvalidParameterSpecException e) {
            throw new InvalidAlgorithmParameterException("The parameters are of " + given.getAlgorithm() + ", not those"
                    + " of this cipher. Pass what getParameters of the encrypting cipher returned.", e);
        }
    }

    @Override
    protected final AlgorithmParameters engineGetParameters() {
        if (spec == null) {
            return null;
        }
        try {
            AlgorithmParameters parameters = newParameters();
            parameters.init(spec);
            return parameters;
        } catch (GeneralSecurityException e) { // Android has those of GCM since API level 22
            throw new ProviderException("The platform has no parameters for this cipher. Use getIV.", e);
        }
    }

    @Override
    protected final byte[] engineUpdate(byte[] in, int offset, int length) {
        return Secrets.written(updateSize(length), out -> updateOrGiveUp(in, offset, length, out, 0));
    }

    @Override
    protected final int engineUpdate(byte[] in, int inOffset, int length, byte[] out, int outOffset)
            throws ShortBufferException {
        int size = updateSize(length);
        requireRoom(size, out.length - outOffset);
        updateOrGiveUp(in, inOffset, length, out, outOffset);
        return size;
    }

    @Override
    protected final int engineUpdate(ByteBuffer in, ByteBuffer out) throws ShortBufferException {
        requireRoom(updateSize(in.remaining()), out.remaining());
        byte[] piece = remaining(in);
        try {
            return exchange(in, out, engineUpdate(piece, 0, piece.length));
        } finally {
            Secrets.wipe(piece);
        }
    }

    @Override
    protected final byte[] engineDoFinal(byte[] in, int offset, int length)
            throws IllegalBlockSizeException, BadPaddingException {
        try {
            return finishOrGiveUp(in == null ? NOTHING : in, offset, length, Integer.MAX_VALUE);
        } catch (ShortBufferException e) {
            throw new ProviderException("The result does not fit an array. Divide the text.", e);
        }
    }

    @Override
    protected final int engineDoFinal(byte[] in, int inOffset, int length, byte[] out, int outOffset)
            throws ShortBufferException, IllegalBlockSizeException, BadPaddingException {
        byte[] result = finishOrGiveUp(in == null ? NOTHING : in, inOffset, length, out.length - outOffset);
        System.arraycopy(result, 0, out, outOffset, result.length);
        Secrets.wipe(result);
        return result.length;
    }

    @Override
    protected final int engineDoFinal(ByteBuffer in, ByteBuffer out)
            throws ShortBufferException, IllegalBlockSizeException, BadPaddingException {
        byte[] piece = remaining(in);
        try {
            return exchange(in, out, finishOrGiveUp(piece, 0, piece.length, out.remaining()));
        } finally {
            Secrets.wipe(piece);
        }
    }

    @Override
    protected final int engineGetOutputSize(int length) {
        return (int) Math.min(Integer.MAX_VALUE, outputSize(length));
    }

    @Override
    protected final int engineGetBlockSize() {
        return StreamEngine.BLOCK;
    }

    /** Asked for only where cryptography is limited by law, to compare with the limit. */
    @Override
    protected final int engineGetKeySize(Key key) throws InvalidKeyException {
        throw new InvalidKeyException("The size of a white-box key is not known to Java, whose policy limits it. Set"
                + " the security property crypto.policy to unlimited.");
    }

    /** The services are registered under names in which the mode stands. */
    @Override
    protected final void engineSetMode(String mode) throws NoSuchAlgorithmException {
        throw new NoSuchAlgorithmException("The mode cannot be changed to " + mode + ".");
    }

    @Override
    protected final void engineSetPadding(String name) throws NoSuchPaddingException {
        for (Padding padding : Padding.values()) {
            if (padding.standardName().equalsIgnoreCase(name) && accept(padding)) {
                return;
            }
        }
        throw new NoSuchPaddingException("This mode has no padding " + name + ".");
    }

    private void updateOrGiveUp(byte[] in, int inOffset, int length, byte[] out, int outOffset) {
        try {
            update(in, inOffset, length, out, outOffset);
        } catch (WbkitException e) {
            throw new ProviderException(e.getMessage(), e);
        }
    }

    private byte[] finishOrGiveUp(byte[] in, int offset, int length, int room)
            throws ShortBufferException, IllegalBlockSizeException, BadPaddingException {
        try {
            return finish(in, offset, length, room);
        } catch (WbkitException e) {
            throw new ProviderException(e.getMessage(), e);
        }
    }

    /** A copy, since the output may lie over the input where nobody can tell. The buffer stays where it is. */
    private static byte[] remaining(ByteBuffer in) {
        byte[] bytes = new byte[in.remaining()];
        in.duplicate().get(bytes);
        return bytes;
    }

    /** Leaves both buffers as after a success. */
    private static int exchange(ByteBuffer in, ByteBuffer out, byte[] result) {
        ((Buffer) in).position(in.limit()); // which Java 8 and every Android have
        out.put(result);
        Secrets.wipe(result);
        return result.length;
    }
}
