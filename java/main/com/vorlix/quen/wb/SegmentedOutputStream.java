package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import java.io.IOException;
import java.io.OutputStream;
import java.security.GeneralSecurityException;
import java.security.InvalidKeyException;
import java.util.Arrays;
import java.util.Objects;

/**
 * Encrypts and authenticates what is written with AES-GCM, in segments and in constant memory, for files of up to 512
 * GiB. {@link #close()} writes the last segment: without it the file counts as cut off. A text that cannot be written
 * to its end, for whatever reason, must not be closed like a whole one: {@link #abandon()} it first. One thread at a
 * time.
 *
 * <p>When the library refuses, an {@link IOException} has its reason as cause.
 */
public final class SegmentedOutputStream extends EncryptingOutputStream {
    private final Segments segments;

    /**
     * A stream that encrypts, under a fresh random nonce prefix. It writes the header of the file.
     *
     * @param out where the file goes; it is closed with this stream
     * @param key an AES key
     * @param aad additional data, such as the file's name: authenticated, not written, and processed with every segment
     * @throws InvalidKeyException if the key is not one of AES
     * @throws IOException if the header cannot be written
     */
    public SegmentedOutputStream(@NonNull OutputStream out, @NonNull WhiteboxKey key, @NonNull byte[] aad)
            throws InvalidKeyException, IOException {
        super(out, Segments.TEXT);
        Gcm.requireAes(Objects.requireNonNull(key, "key"));
        this.segments = Segments.create(key, Objects.requireNonNull(aad, "aad"));
        out.write(segments.header());
    }

    /** Flushes the stream below. What is in an incomplete segment waits for its rest. */
    @Override
    public void flush() throws IOException {
        super.flush();
    }

    /**
     * Gives the file up, after whatever failure kept its text from being written to the end: {@link #close()} then
     * writes no last segment, and every reader refuses the file.
     */
    public void abandon() {
        giveUp();
    }

    /** Writes the last segment, unless a write failed before or the file was given up, and closes the stream below. */
    @Override
    public void close() throws IOException {
        super.close();
    }

    @Override
    void encrypt(byte[] piece, int length, boolean last) throws IOException, GeneralSecurityException {
        byte[] segment = Arrays.copyOf(piece, length);
        try {
            out.write(segments.seal(segment, last));
        } finally {
            Secrets.wipe(segment);
        }
    }
}
