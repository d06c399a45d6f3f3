package com.vorlix.quen.wb;

import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.ProviderException;
import java.security.spec.AlgorithmParameterSpec;
import javax.crypto.MacSpi;

/** HMAC-SHA256 under the signing key of a key id, over a text that is collected: the native takes it whole. */
final class SigningMacSpi extends MacSpi {
    private static final int SIZE = 32;
    private static final byte[] NOTHING = {};

    private final CollectedBytes text = new CollectedBytes();
    private WhiteboxKey key;

    @Override
    protected int engineGetMacLength() {
        return SIZE;
    }

    @Override
    protected void engineInit(Key given, AlgorithmParameterSpec parameters)
            throws InvalidKeyException, InvalidAlgorithmParameterException {
        if (parameters != null) {
            throw new InvalidAlgorithmParameterException("HMAC has no parameters. Pass none.");
        }
        WhiteboxKey signing = ProviderKeys.require(given, Algorithm.AES);
        if (!signing.equals(key)) {
            try {
                signing.sign(NOTHING); // whether it has a signing key shows by this alone
            } catch (WbkitException e) {
                throw new InvalidKeyException(e.getMessage(), e);
            }
        }
        text.clear();
        key = signing;
    }

    @Override
    protected void engineUpdate(byte input) {
        text.add(new byte[] {input}, 0, 1);
    }

    @Override
    protected void engineUpdate(byte[] input, int offset, int length) {
        text.add(input, offset, length);
    }

    @Override
    protected byte[] engineDoFinal() {
        byte[] whole = text.toArray();
        try {
            return key.sign(whole);
        } catch (InvalidKeyException | WbkitException e) {
            throw new ProviderException(e.getMessage(), e);
        } finally {
            Secrets.wipe(whole);
            text.clear();
        }
    }

    @Override
    protected void engineReset() {
        text.clear();
    }
}
