package com.vorlix.quen.wb;

import java.security.SecureRandom;

/** Bytes that nobody can foresee. */
final class RandomBytes {
    private static final SecureRandom SOURCE = new SecureRandom();

    private RandomBytes() {}

    static byte[] of(int length) {
        byte[] bytes = new byte[length];
        SOURCE.nextBytes(bytes);
        return bytes;
    }
}
