package com.vorlix.quen.wb;

import java.security.InvalidKeyException;
import java.security.Key;

/** The keys that the services of the provider take. */
final class ProviderKeys {
    private ProviderKeys() {}

    static WhiteboxKey require(Key key, Algorithm algorithm) throws InvalidKeyException {
        if (!(key instanceof WhiteboxKey)) {
            throw new InvalidKeyException("This provider takes a WhiteboxKey, and got "
                    + (key == null ? "null" : "a " + key.getClass().getName())
                    + ". Pass a key of a TableLibrary, or leave it to getInstance to find the provider.");
        }
        WhiteboxKey whitebox = (WhiteboxKey) key;
        if (whitebox.algorithm() != algorithm) {
            throw new InvalidKeyException("This takes " + algorithm + " keys, and " + key + " is of "
                    + key.getAlgorithm() + ". Pass a key of the cipher that getInstance was asked for.");
        }
        try {
            whitebox.access().requireUsable();
        } catch (IllegalStateException e) { // destroyed credentials
            throw new InvalidKeyException(e.getMessage(), e);
        }
        return whitebox;
    }
}
