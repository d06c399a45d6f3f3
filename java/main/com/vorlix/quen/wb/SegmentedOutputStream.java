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
 * to its end must not be closed like a whole one: {@link #abandon()} it first. One thread at a time.
 *
 * <p>When the library refuses, an {@link IOException} has its reason as cause.
 */
public final class SegmentedOutputStream extends OutputStream {
    private final OutputStream out;
    private final Segments segments;
    private final byte[] text = new byte[Segments.TEXT];
    private int filled;
    private boolean failed;
    private boolean closed;

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
        this.out = Objects.requireNonNull(out, "out");
        Gcm.requireAes(Objects.requireNonNull(key, "key"));
        this.segments = Segments.create(key, Objects.requireNonNull(aad, "aad"));
        out.write(segments.header());
    }

    @Override
    public void write(int b) throws IOException {
        write(new byte[] {(byte) b}, 0, 1);
    }

    @Override
    public void write(@NonNull byte[] b, int off, int len) throws IOException {
        Streams.checkRange(b, off, len);
        if (closed || failed) {
            throw new IOException(closed ? "The stream is closed."
                    : "A write failed before, or the file was given up.");
        }
        for (int done = 0; done < len;) {
            if (filled == text.length) { // full, and not the last one
                writeSegment(text, false);
                filled = 0;
            }
            int count = Math.min(text.length - filled, len - done);
            System.arraycopy(b, off + done, text, filled, count);
            filled += count;
            done += count;
        }
    }

    /** Flushes the stream below. What is in an incomplete segment waits for its rest. */
    @Override
    public void flush() throws IOException {
        out.flush();
    }

    /**
     * Gives the file up, for instance because its text could not be read to its end: {@link #close()} then writes no
     * last segment, and every reader refuses the file.
     */
    public void abandon() {
        failed = true;
        Arrays.fill(text, (byte) 0);
    }

    /** Writes the last segment, unless a write failed before or the file was given up, and closes the stream below. */
    @Override
    @SuppressWarnings("try") // the resource is there to be closed
    public void close() throws IOException {
        if (closed) {
            return;
        }
        closed = true;
        try (OutputStream closedAlways = out) {
            if (!failed) {
                writeSegment(Arrays.copyOf(text, filled), true);
            }
        } finally {
            Arrays.fill(text, (byte) 0);
        }
    }

    private void writeSegment(byte[] segment, boolean last) throws IOException {
        failed = true; // unless what follows succeeds
        try {
            out.write(segments.seal(segment, last));
        } catch (GeneralSecurityException e) {
            throw Streams.failure(e);
        }
        failed = false;
    }
}
