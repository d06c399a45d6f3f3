import static java.nio.charset.StandardCharsets.UTF_8;

import com.vorlix.quen.wb.Credentials;
import com.vorlix.quen.wb.Padding;
import com.vorlix.quen.wb.QuenProvider;
import com.vorlix.quen.wb.StreamMode;
import com.vorlix.quen.wb.TableLibrary;
import com.vorlix.quen.wb.WbkitAndr;
import com.vorlix.quen.wb.WhiteboxInputStream;
import com.vorlix.quen.wb.WhiteboxKey;
import com.vorlix.quen.wb.WhiteboxOutputStream;
import java.io.BufferedReader;
import java.io.ByteArrayOutputStream;
import java.io.InputStream;
import java.io.InputStreamReader;
import java.io.OutputStream;
import java.lang.management.ManagementFactory;
import java.lang.management.ThreadMXBean;
import java.math.BigInteger;
import java.nio.ByteBuffer;
import java.util.Arrays;
import java.util.Locale;
import javax.crypto.Cipher;
import javax.crypto.spec.GCMParameterSpec;

/**
 * What the Java above the natives costs: prints a table in which each row has a native and what calls it, measured by
 * turns. With the argument "streams" it only sends a text through both streams, for a heap as small as can be. Standard
 * input has the token; scripts/bench.sh makes the table library.
 */
public final class LayerCosts {
    private static final ThreadMXBean THREAD = ManagementFactory.getThreadMXBean();
    private static final String CALLER = "com.example.bench";
    private static final byte[] CALLER_BYTES = CALLER.getBytes(UTF_8);
    private static final byte[] WBID = "bench".getBytes(UTF_8);
    private static final byte[] KEY_ID = "key".getBytes(UTF_8);
    private static final byte[] NO_AAD = new byte[0];
    private static final byte[] SHORT_TEXT = new byte[16];
    /** A long text is this, so many times. */
    private static final byte[] PIECE = new byte[1 << 20];
    private static final int PIECES = 100;
    /** What a stream is given or asked for at a time. */
    private static final int CHUNK = 8 << 10;

    private final byte[] token;
    private final WhiteboxKey key;
    private final byte[] iv = new byte[16];
    private final Cipher cipher = Cipher.getInstance("AES/GCM/NoPadding", new QuenProvider());
    private long nonces;

    private interface Work {
        void run() throws Exception;
    }

    private LayerCosts(byte[] token) throws Exception {
        this.token = token;
        this.key = TableLibrary.open("bench", 1, Credentials.fromToken(token, CALLER)).key("key");
    }

    public static void main(String[] args) throws Exception {
        String hex = new BufferedReader(new InputStreamReader(System.in, UTF_8)).readLine();
        byte[] longer = new BigInteger("01" + hex, 16).toByteArray();
        LayerCosts costs = new LayerCosts(Arrays.copyOfRange(longer, 1, longer.length));
        if (Arrays.asList(args).contains("streams")) {
            costs.write();
            costs.read();
        } else {
            costs.compareResults();
            costs.printTable();
        }
    }

    private void printTable() throws Exception {
        System.out.printf("%s %s.%n%n", System.getProperty("java.vm.name"), System.getProperty("java.vm.version"));
        System.out.println("| | native | layer | × native | asked |\n|---|--:|--:|--:|--:|");
        byte[] nonce = nonce();
        byte[] sealed = sealRaw(nonce, SHORT_TEXT);
        row("`Cipher`, AES-256 GCM, encryption of 16 bytes, µs", 1.3, 1e3, 400, 2000,
                () -> sealRaw(nonce(), SHORT_TEXT), () -> run(Cipher.ENCRYPT_MODE, nonce(), SHORT_TEXT));
        row("`Cipher`, AES-256 GCM, decryption of 16 bytes, µs", 1.3, 1e3, 400, 2000,
                () -> openRaw(nonce, sealed), () -> run(Cipher.DECRYPT_MODE, nonce, sealed));
        row("`WhiteboxOutputStream`, AES-256 CTR, 100 MiB, ms", 1 / 0.9, 1e6, 30, 1, this::encryptRaw, this::write);
        row("`WhiteboxInputStream`, AES-256 CTR, 100 MiB, ms", 1 / 0.9, 1e6, 30, 1, this::decryptRaw, this::read);
    }

    /** By turns, in CPU time; what disturbs a run only makes it longer, so the shortest counts. */
    private static void row(String name, double asked, double unit, int rounds, int calls, Work... works)
            throws Exception {
        double[] shortest = {Double.MAX_VALUE, Double.MAX_VALUE};
        for (int round = 0; round < rounds; round++) {
            for (int i = 0; i < works.length; i++) {
                long begin = THREAD.getCurrentThreadCpuTime();
                for (int call = 0; call < calls; call++) {
                    works[i].run();
                }
                shortest[i] = Math.min(shortest[i], (THREAD.getCurrentThreadCpuTime() - begin) / unit / calls);
            }
        }
        double ratio = shortest[1] / shortest[0];
        System.out.printf(Locale.ROOT, ratio > asked ? "| %s | %.3g | %.3g | **%.2f** | %.2f |%n"
                : "| %s | %.3g | %.3g | %.2f | %.2f |%n", name, shortest[0], shortest[1], ratio, asked);
    }

    private void compareResults() throws Exception {
        byte[] nonce = nonce();
        byte[] sealed = sealRaw(nonce, SHORT_TEXT);
        requireSame(sealed, run(Cipher.ENCRYPT_MODE, nonce, SHORT_TEXT));
        requireSame(SHORT_TEXT, run(Cipher.DECRYPT_MODE, nonce, sealed));
        requireSame(SHORT_TEXT, openRaw(nonce, sealed));
        ByteArrayOutputStream written = new ByteArrayOutputStream();
        try (OutputStream out = new WhiteboxOutputStream(written, key, StreamMode.CTR, Padding.NONE, iv)) {
            out.write(PIECE);
        }
        requireSame(encryptPiece(), written.toByteArray());
    }

    private static void requireSame(byte[] expected, byte[] actual) {
        if (!Arrays.equals(expected, actual)) {
            throw new AssertionError("the layer and the native differ");
        }
    }

    private byte[] nonce() {
        return ByteBuffer.allocate(12).putLong(++nonces).array();
    }

    private byte[] sealRaw(byte[] nonce, byte[] text) {
        return WbkitAndr.WBkit_AES_GCM_encrypt(token, CALLER_BYTES, nonce, text, NO_AAD, WBID, KEY_ID, 1);
    }

    private byte[] openRaw(byte[] nonce, byte[] sealed) {
        return WbkitAndr.WBkit_AES_GCM_decrypt(token, CALLER_BYTES, nonce, sealed, NO_AAD, WBID, KEY_ID, 1);
    }

    private byte[] run(int mode, byte[] nonce, byte[] text) throws Exception {
        cipher.init(mode, key, new GCMParameterSpec(128, nonce));
        return cipher.doFinal(text);
    }

    private byte[] encryptPiece() {
        return WbkitAndr.WBkit_AES_CTR_encrypt(token, CALLER_BYTES, iv, PIECE, 0, WBID, KEY_ID, 1);
    }

    private void encryptRaw() {
        for (int i = 0; i < PIECES; i++) {
            encryptPiece();
        }
    }

    private void decryptRaw() {
        for (int i = 0; i < PIECES; i++) {
            WbkitAndr.WBkit_AES_CTR_decrypt(token, CALLER_BYTES, iv, PIECE, 0, WBID, KEY_ID, 1);
        }
    }

    private void write() throws Exception {
        try (OutputStream out = new WhiteboxOutputStream(new Nowhere(), key, StreamMode.CTR, Padding.NONE, iv)) {
            for (int i = 0; i < PIECES; i++) {
                for (int offset = 0; offset < PIECE.length; offset += CHUNK) {
                    out.write(PIECE, offset, CHUNK);
                }
            }
        }
    }

    private void read() throws Exception {
        byte[] chunk = new byte[CHUNK];
        try (InputStream in = new WhiteboxInputStream(new Repeated(), key, StreamMode.CTR, Padding.NONE, iv)) {
            while (in.read(chunk) >= 0) {
                // gone
            }
        }
    }

    private static final class Nowhere extends OutputStream {
        @Override
        public void write(int b) {}

        @Override
        public void write(byte[] b, int offset, int length) {}
    }

    /** The long text. */
    private static final class Repeated extends InputStream {
        private long left = (long) PIECES * PIECE.length;

        @Override
        public int read() {
            return left-- > 0 ? 0 : -1;
        }

        @Override
        public int read(byte[] b, int offset, int length) {
            if (left <= 0) {
                return -1;
            }
            int count = (int) Math.min(Math.min(left, length), PIECE.length);
            System.arraycopy(PIECE, 0, b, offset, count);
            left -= count;
            return count;
        }
    }
}
