package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import java.io.IOException;
import java.io.InputStream;
import java.security.GeneralSecurityException;
import java.security.InvalidAlgorithmParameterException;

/**
 * Decrypts what is read in a stream mode, in constant memory. It is {@link WhiteboxKey#decrypt} in pieces, and notices
 * a changed ciphertext as little. One thread at a time.
 *
 * <p>When the library refuses, and when the text does not end in its padding, an {@link IOException} has the reason as
 * cause. Every later read throws it again, and likewise a failure of the stream below: what is missing cannot be read
 * over.
 */
public final class WhiteboxInputStream extends DecryptingInputStream {
    private final StreamCipher cipher;
    private final byte[] buffer = new byte[StreamEngine.PIECE];

    /**
     * A stream that decrypts.
     *
     * @param in where the ciphertext comes from; it is closed with this stream
     * @param key the key
     * @param mode the mode of the encryption
     * @param padding its padding
     * @param iv its iv
     * @throws InvalidAlgorithmParameterException if the iv has not 16 bytes
     */
    public WhiteboxInputStream(@NonNull InputStream in, @NonNull WhiteboxKey key, @NonNull StreamMode mode,
            @NonNull Padding padding, @NonNull byte[] iv) throws InvalidAlgorithmParameterException {
        super(in);
        this.cipher = StreamCipher.of(key, mode, padding, false, iv);
    }

    @Override
    public void close() throws IOException {
        cipher.wipe();
        super.close();
    }

    @Override
    void decryptMore() throws IOException, GeneralSecurityException {
        int count = in.read(buffer, 0, buffer.length);
        if (count < 0) {
            byte[] end = cipher.finish();
            put(end, end.length);
            end();
        } else {
            int size = cipher.updateSize(count);
            put(cipher.update(buffer, count), size);
        }
    }
}
