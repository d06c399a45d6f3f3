package com.vorlix.quen.wb;

import java.util.Arrays;
import javax.crypto.BadPaddingException;

/**
 * What fills a text up to whole blocks of 16 bytes. A padding adds 1 to 16 bytes, so that an aligned text grows by a
 * block. The stream modes need none.
 */
public enum Padding {
    /** No padding: texts of any length. */
    NONE {
        @Override
        byte[] filler(int count) {
            return new byte[count];
        }

        @Override
        int countAtEndOf(byte[] text) {
            return 0;
        }
    },
    /** PKCS #5 (RFC 8018): every byte of the padding is their number. */
    PKCS5 {
        @Override
        byte[] filler(int count) {
            byte[] filler = new byte[count];
            Arrays.fill(filler, (byte) count);
            return filler;
        }

        @Override
        int countAtEndOf(byte[] text) throws BadPaddingException {
            int count = lastByteOf(text);
            int difference = 0;
            for (int i = text.length - count; i < text.length; i++) {
                difference |= text[i] ^ count;
            }
            if (difference != 0) {
                throw bad();
            }
            return count;
        }
    },
    /** ISO 10126: random bytes, the last one is their number. */
    ISO10126 {
        @Override
        byte[] filler(int count) {
            byte[] filler = RandomBytes.of(count);
            filler[count - 1] = (byte) count;
            return filler;
        }

        @Override
        int countAtEndOf(byte[] text) throws BadPaddingException {
            return lastByteOf(text);
        }
    };

    /** So many bytes of padding. */
    abstract byte[] filler(int count);

    /** How many bytes of a text are padding. The text has whole blocks, or is the last of them. */
    abstract int countAtEndOf(byte[] text) throws BadPaddingException;

    /** How many bytes it adds to a text of so many. */
    final int sizeAfter(long length) {
        return this == NONE ? 0 : StreamEngine.BLOCK - (int) (length % StreamEngine.BLOCK);
    }

    final byte[] after(long length) {
        return filler(sizeAfter(length));
    }

    /** The number by which the natives know it. */
    final int number() {
        return ordinal();
    }

    /** Its name in the transformations of {@code javax.crypto}. */
    final String standardName() {
        return (this == NONE ? "No" : name()) + "Padding";
    }

    private static int lastByteOf(byte[] text) throws BadPaddingException {
        int count = text[text.length - 1] & 0xff;
        if (count == 0 || count > StreamEngine.BLOCK) {
            throw bad();
        }
        return count;
    }

    private static BadPaddingException bad() {
        return new BadPaddingException("The decrypted text does not end in this padding: key, iv, mode, padding and"
                + " version have to be those of the encryption, and the ciphertext must not have been changed.");
    }
}
