package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import java.io.IOException;
import java.io.OutputStream;
import java.security.GeneralSecurityException;
import java.security.InvalidAlgorithmParameterException;
import java.util.Arrays;
import java.util.Objects;

/**
 * Encrypts what is written in a stream mode, in constant memory, and writes the ciphertext on. It is
 * {@link WhiteboxKey#encrypt} in pieces. {@link #close()} writes the end, which a text with padding cannot do without.
 * One thread at a time.
 *
 * <p>When the library refuses, an {@link IOException} has its reason as cause.
 */
public final class WhiteboxOutputStream extends OutputStream {
    private final OutputStream out;
    private final StreamCipher cipher;
    private final byte[] buffer = new byte[StreamEngine.PIECE];
    private int buffered;
    private boolean failed;
    private boolean closed;

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
        this.out = Objects.requireNonNull(out, "out");
        this.cipher = StreamCipher.of(key, mode, padding, true, iv);
    }

    @Override
    public void write(int b) throws IOException {
        write(new byte[] {(byte) b}, 0, 1);
    }

    @Override
    public void write(@NonNull byte[] b, int off, int len) throws IOException {
        Streams.checkRange(b, off, len);
        requireUsable();
        for (int done = 0; done < len;) {
            int count = Math.min(buffer.length - buffered, len - done);
            System.arraycopy(b, off + done, buffer, buffered, count);
            buffered += count;
            done += count;
            if (buffered == buffer.length) {
                encryptBuffer();
            }
        }
    }

    /** Encrypts and writes all that was written so far. */
    @Override
    public void flush() throws IOException {
        requireUsable();
        encryptBuffer();
        out.flush();
    }

    /** Writes the end, unless a write failed before, and closes the stream below. */
    @Override
    public void close() throws IOException {
        if (closed) {
            return;
        }
        closed = true;
        try (OutputStream closedAlways = out) {
            if (!failed) {
                encryptBuffer();
                closedAlways.write(cipher.finish());
            }
        } catch (GeneralSecurityException e) {
            throw Streams.failure(e);
        } finally {
            cipher.wipe();
            Arrays.fill(buffer, (byte) 0);
        }
    }

    private void requireUsable() throws IOException {
        if (closed || failed) {
            throw new IOException(closed ? "The stream is closed." : "A write failed before.");
        }
    }

    private void encryptBuffer() throws IOException {
        boolean done = false;
        try {
            out.write(cipher.update(buffer, buffered), 0, buffered);
            buffered = 0;
            done = true;
        } catch (GeneralSecurityException e) {
            throw Streams.failure(e);
        } finally {
            failed = !done;
        }
    }
}
