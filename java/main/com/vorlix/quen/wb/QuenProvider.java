package com.vorlix.quen.wb;

import java.security.Provider;
import java.util.Collections;

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
                for (Padding padding : Padding.values()) {
                    add("Cipher", algorithm + "/" + mode + "/" + (padding == Padding.NONE ? "No" : padding) + "Padding",
                            StreamCipherSpi.class, () -> new StreamCipherSpi(this, algorithm, mode, padding));
                }
            }
        }
        add("Cipher", "AES/GCM/NoPadding", GcmCipherSpi.class, GcmCipherSpi::new);
        add("Mac", "HmacSHA256", SigningMacSpi.class, SigningMacSpi::new);
        add("AlgorithmParameters", "SM4", Sm4ParametersSpi.class, Sm4ParametersSpi::new);
    }

    private void add(String type, String algorithm, Class<?> implementation, Maker maker) {
        putService(new Row(this, type, algorithm, implementation, maker));
    }

    /** Makes the implementation of a service. */
    private interface Maker {
        Object make();
    }

    /** A service. It makes its implementation without reflection, so that a shrinker sees who is used. */
    private static final class Row extends Service {
        private final Maker maker;

        Row(Provider provider, String type, String algorithm, Class<?> implementation, Maker maker) {
            super(provider, type, algorithm, implementation.getName(), null,
                    Collections.singletonMap("SupportedKeyClasses", WhiteboxKey.class.getName()));
            this.maker = maker;
        }

        @Override
        public Object newInstance(Object constructorParameter) {
            return maker.make();
        }
    }
}
