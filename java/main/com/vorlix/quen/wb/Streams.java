package com.vorlix.quen.wb;

import java.io.IOException;
import java.security.GeneralSecurityException;
import java.util.Objects;

/** What the streams have in common. */
final class Streams {
    private Streams() {}

    /** What a stream throws when the library refuses. */
    static IOException failure(GeneralSecurityException cause) {
        return new IOException(cause.getMessage(), cause);
    }

    /** What a stream checks of its arguments. */
    static void checkRange(byte[] b, int off, int len) {
        Objects.requireNonNull(b, "b");
        if (off < 0 || len < 0 || len > b.length - off) {
            throw new IndexOutOfBoundsException("off " + off + " and len " + len + " in an array of " + b.length);
        }
    }
}
