package com.vorlix.quen.wb;

/**
 * The stream modes of NIST SP 800-38A. Each takes an iv of 16 bytes that must never be used twice with the same key,
 * and none notices a changed ciphertext.
 */
public enum StreamMode {
    /** Cipher feedback, 128 bits at a time. */
    CFB {
        @Override
        void advance(byte[] register, byte[] keystream, byte[] ciphertext, int blocks) {
            System.arraycopy(ciphertext, 0, register, 0, register.length);
        }
    },
    /** Output feedback. */
    OFB {
        @Override
        void advance(byte[] register, byte[] keystream, byte[] ciphertext, int blocks) {
            System.arraycopy(keystream, 0, register, 0, register.length);
        }
    },
    /** Counter mode; all 16 bytes of the iv count, big-endian, modulo 2^128. */
    CTR {
        @Override
        void advance(byte[] register, byte[] keystream, byte[] ciphertext, int blocks) {
            int carry = blocks;
            for (int i = register.length - 1; i >= 0; i--) {
                carry += register[i] & 0xff;
                register[i] = (byte) carry;
                carry >>>= 8;
            }
        }
    };

    /**
     * Puts into the register what the cipher encrypts for the block after these blocks. The arrays hold the keystream
     * and the ciphertext of the last one.
     */
    abstract void advance(byte[] register, byte[] keystream, byte[] ciphertext, int blocks);
}
