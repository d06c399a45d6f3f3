package com.vorlix.quen.wb;

import java.io.IOException;
import java.security.AlgorithmParameters;
import java.security.AlgorithmParametersSpi;
import java.security.NoSuchAlgorithmException;
import java.security.ProviderException;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.InvalidParameterSpecException;

/** The iv of SM4 as parameters, which platforms lack: the same octet string as the iv of AES, which they have. */
final class Sm4ParametersSpi extends AlgorithmParametersSpi {
    private final AlgorithmParameters aes;

    Sm4ParametersSpi() {
        try {
            aes = AlgorithmParameters.getInstance("AES");
        } catch (NoSuchAlgorithmException e) {
            throw new ProviderException("The platform has no parameters for AES.", e);
        }
    }

    @Override
    protected void engineInit(AlgorithmParameterSpec spec) throws InvalidParameterSpecException {
        aes.init(spec);
    }

    @Override
    protected void engineInit(byte[] encoded) throws IOException {
        aes.init(encoded);
    }

    @Override
    protected void engineInit(byte[] encoded, String format) throws IOException {
        aes.init(encoded, format);
    }

    @Override
    protected <T extends AlgorithmParameterSpec> T engineGetParameterSpec(Class<T> type)
            throws InvalidParameterSpecException {
        return aes.getParameterSpec(type);
    }

    @Override
    protected byte[] engineGetEncoded() throws IOException {
        return aes.getEncoded();
    }

    @Override
    protected byte[] engineGetEncoded(String format) throws IOException {
        return aes.getEncoded(format);
    }

    @Override
    protected String engineToString() {
        return aes.toString();
    }
}
