package com.vorlix.quen.wb;

import java.security.Provider;
import java.util.HashMap;
import java.util.Locale;
import java.util.Map;
import java.util.StringJoiner;

/**
 * White-box keys for code that is written against {@code javax.crypto}: the provider "QuenWB".
 *
 * <pre>{@code
 * Security.addProvider(new QuenProvider());
 * Cipher cipher = Cipher.getInstance("AES/GCM/NoPadding");
 * cipher.init(Cipher.ENCRYPT_MODE, library.key("pay")); // with a key in clear, another provider's cipher
 * }</pre>
 *
 * <p>Its services take a {@link WhiteboxKey} and nothing else, so that the provider may stand anywhere in the list and
 * need not be named:
 * <ul>
 * <li>{@code Cipher}: {@code AES} and {@code SM4} in the modes {@code CFB} (128 bits at a time), {@code OFB} and
 * {@code CTR}, each with {@code NoPadding}, {@code PKCS5Padding} and {@code ISO10126Padding}. Parameters are an
 * {@code IvParameterSpec} of 16 bytes.
 * <li>{@code Cipher} {@code AES/GCM/NoPadding}. Parameters are a {@code GCMParameterSpec} with a tag of 96 to 128 bits
 * in whole bytes. Use nonces of 12 bytes: for another length the library counts on where NIST SP 800-38D starts
 * again, after 2^32 blocks from a start that cannot be foreseen. Texts are collected until {@code doFinal}, for both
 * directions; for long ones see {@link SegmentedOutputStream}. As with the JDK's own provider, a {@code Cipher} object
 * knows key and nonce of its last encryption, and refuses to encrypt with them again. Earlier ones, and those of other
 * objects, it does not know: that no nonce comes twice with a key is up to the caller, unless the provider draws it.
 * <li>{@code Mac} {@code HmacSHA256}, under the signing key of an AES key's id. Texts are collected too.
 * <li>{@code AlgorithmParameters} {@code SM4}: an iv, encoded as those of AES are.
 * </ul>
 *
 * <p>An encryption that is given no parameters draws iv or nonce at random. Wrapping and unwrapping of keys is not
 * supported. What a running operation is refused by the library, such as for lack of memory, is a
 * {@link java.security.ProviderException} with the {@link WbkitException} as its cause.
 */
public final class QuenProvider extends Provider {
    /** The name of the provider. */
    public static final String NAME = "QuenWB";

    private static final long serialVersionUID = 1;

    /** Makes the provider, for {@link java.security.Security#addProvider} or to pass to a {@code getInstance}. */
    public QuenProvider() {
        super(NAME, 0.1, "White-box AES and SM4, and signatures, under keys of table libraries");
        for (Algorithm algorithm : Algorithm.values()) {
            for (StreamMode mode : StreamMode.values()) {
                addCipher(algorithm + "/" + mode, StreamCipherSpi.class,
                        () -> new StreamCipherSpi(this, algorithm, mode), Padding.values());
            }
        }
        addCipher("AES/GCM", GcmCipherSpi.class, GcmCipherSpi::new, Padding.NONE);
        add("Mac", "HmacSHA256", SigningMacSpi.class, SigningMacSpi::new, new HashMap<>());
        add("AlgorithmParameters", "SM4", Sm4ParametersSpi.class, Sm4ParametersSpi::new, new HashMap<>());
    }

    /** Without the paddings in its name: so whoever asks for another is told that it is the padding that is missing. */
    private void addCipher(String name, Class<?> implementation, Maker maker, Padding... paddings) {
        StringJoiner names = new StringJoiner("|");
        for (Padding padding : paddings) {
            names.add(padding.standardName().toUpperCase(Locale.ROOT)); // a pattern for names in upper case
        }
        Map<String, String> attributes = new HashMap<>();
        attributes.put("SupportedPaddings", names.toString());
        add("Cipher", name, implementation, maker, attributes);
    }

    private void add(String type, String algorithm, Class<?> implementation, Maker maker,
            Map<String, String> attributes) {
        attributes.put("SupportedKeyClasses", WhiteboxKey.class.getName());
        putService(new Row(this, type, algorithm, implementation, maker, attributes));
    }

    /** Makes the implementation of a service. */
    private interface Maker {
        Object make();
    }

    /** A service. It makes its implementation without reflection, so that a shrinker sees who is used. */
    private static final class Row extends Service {
        private final Maker maker;

        Row(Provider provider, String type, String algorithm, Class<?> implementation, Maker maker,
                Map<String, String> attributes) {
            super(provider, type, algorithm, implementation.getName(), null, attributes);
            this.maker = maker;
        }

        @Override
        public Object newInstance(Object constructorParameter) {
            return maker.make();
        }
    }
}
