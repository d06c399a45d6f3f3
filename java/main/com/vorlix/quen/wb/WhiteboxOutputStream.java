package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import java.io.IOException;
import java.io.OutputStream;
import java.security.GeneralSecurityException;
import java.security.InvalidAlgorithmParameterException;

/**
 * Encrypts what is written in a stream mode, in constant memory, and writes the ciphertext on. It is
 * {@link WhiteboxKey#encrypt} in pieces. {@link #close()} writes the end, which a text with padding cannot do without.
 * One thread at a time.
 *
 * <p>When the library refuses, an {@link IOException} has its reason as cause.
 */
public final class WhiteboxOutputStream extends EncryptingOutputStream {
    private final StreamCipher cipher;

    /**
     * A stream that encrypts. The iv is not written: the reader gets it on another way, such as in front.
     *
     * @param out where the ciphertext goes; it is closed with this stream
     * @param key the key
     * @param mode the mode
     * @param padding the padding
     * @param iv 16 bytes, never used before with this key; {@link WhiteboxKey#newIv()} makes some
     * @throws InvalidAlgorithmParameterException if the iv has another length
     */
    public WhiteboxOutputStream(@NonNull OutputStream out, @NonNull WhiteboxKey key, @NonNull StreamMode mode,
            @NonNull Padding padding, @NonNull byte[] iv) throws InvalidAlgorithmParameterException {
        super(out, StreamEngine.PIECE);
        this.cipher = StreamCipher.of(key, mode, padding, true, iv);
    }

    /** Encrypts and writes all that was written so far. Behind {@link #close()} it does nothing. */
    @Override
    public void flush() throws IOException {
        encryptWaiting();
        super.flush();
    }

    /** Writes the end, unless a write failed before, and closes the stream below. */
    @Override
    public void close() throws IOException {
        try {
            super.close();
        } finally {
            cipher.wipe();
        }
    }

    @Override
    void encrypt(byte[] piece, int length, boolean last) throws IOException, GeneralSecurityException {
        byte[] ciphertext = cipher.update(piece, length);
        try {
            out.write(ciphertext, 0, length);
        } finally {
            Secrets.wipe(ciphertext); // keystream may stand behind it
        }
        if (last) {
            out.write(cipher.finish());
        }
    }
}
